#ifndef VELMO_TEST_CAPTUREDLOG_H
#define VELMO_TEST_CAPTUREDLOG_H

#include <ostream>
#include <string>
#include <vector>

namespace velmo::test {

/// One openlog, syslog, closelog cycle.
struct LogCycle {
  std::string identity;
  int option = 0;
  int facility = 0;
  int priority = 0;
  std::string text;

  bool operator==(const LogCycle& other) const;
};

std::ostream& operator<<(std::ostream& out, const LogCycle& cycle);

/// Receives the lines of this process in place of the system log. A line outside of a cycle, a
/// cycle without exactly one line, and a cycle inside another fail the test.
class CapturedLog {
 public:
  CapturedLog();
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  const std::vector<LogCycle>& cycles() const {
    return m_cycles;
  }

  /// The texts only.
  std::vector<std::string> lines() const;

  void clear() {
    m_cycles.clear();
  }

 private:
  std::vector<LogCycle> m_cycles;
  LogCycle m_open;
  bool m_isOpen = false;
  int m_linesInOpen = 0;
};

}  // namespace velmo::test

#endif
