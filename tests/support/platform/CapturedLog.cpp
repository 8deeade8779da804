#include "CapturedLog.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <tuple>

#include "PlatformCalls.h"

namespace velmo::test {

bool LogCycle::operator==(const LogCycle& other) const {
  return std::tie(identity, option, facility, priority, text) ==
         std::tie(other.identity, other.option, other.facility, other.priority, other.text);
}

std::ostream& operator<<(std::ostream& out, const LogCycle& cycle) {
  return out << cycle.identity << "/" << cycle.option << "/" << cycle.facility << "/"
             << cycle.priority << ": " << cycle.text;
}

// Every step changes errno, as a real log cycle may.
CapturedLog::CapturedLog() {
  platform().openlog.setFake([this](const char* identity, int option, int facility) {
    EXPECT_FALSE(m_isOpen) << "openlog inside a cycle";
    m_open = LogCycle{identity, option, facility, 0, ""};
    m_isOpen = true;
    m_linesInOpen = 0;
    errno = EXFULL;
  });
  platform().syslog.setFake([this](int priority, const char* text) {
    EXPECT_TRUE(m_isOpen) << "a line outside of a cycle: " << text;
    m_open.priority = priority;
    m_open.text = text;
    ++m_linesInOpen;
    errno = EXFULL;
  });
  platform().closelog.setFake([this] {
    EXPECT_TRUE(m_isOpen) << "closelog outside of a cycle";
    EXPECT_EQ(1, m_linesInOpen);
    m_cycles.push_back(m_open);
    m_isOpen = false;
    errno = EXFULL;
  });
}

CapturedLog::~CapturedLog() {
  EXPECT_FALSE(m_isOpen) << "a cycle without closelog";
  platform().openlog.setFake(nullptr);
  platform().syslog.setFake(nullptr);
  platform().closelog.setFake(nullptr);
}

std::vector<std::string> CapturedLog::lines() const {
  std::vector<std::string> lines;
  for (const LogCycle& cycle : m_cycles) {
    lines.push_back(cycle.text);
  }
  return lines;
}

}  // namespace velmo::test
