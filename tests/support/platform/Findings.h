#ifndef VELMO_TEST_FINDINGS_H
#define VELMO_TEST_FINDINGS_H

#include <functional>
#include <string>
#include <vector>

#include "Fault.h"

namespace velmo::test {

/// Collects findings, as lines that a caller of velmo_check() gets.
class Findings {
 public:
  /// Takes the next finding. The object must exist as long as the function.
  std::function<void(const client::Fault&)> report() {
    return [this](const client::Fault& fault) {
      velmo_error finding{};
      client::describeFinding(fault, finding);
      m_lines.emplace_back(finding.message);
    };
  }

  const std::vector<std::string>& lines() const {
    return m_lines;
  }

 private:
  std::vector<std::string> m_lines;
};

}  // namespace velmo::test

#endif
