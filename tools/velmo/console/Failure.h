#ifndef VELMO_FAILURE_H
#define VELMO_FAILURE_H

#include <velmo/velmo.hpp>

#include <stdexcept>
#include <string>

namespace velmo::cli {

/// A failure of the tool itself, with its exit status and a line for people. Failures of the
/// library are velmo::Error.
class Failure : public std::runtime_error {
 public:
  Failure(Status status, const std::string& text) : std::runtime_error(text), m_status(status) {}

  Status status() const {
    return m_status;
  }

 private:
  Status m_status;
};

}  // namespace velmo::cli

#endif
