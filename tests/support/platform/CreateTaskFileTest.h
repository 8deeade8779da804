#ifndef VELMO_TEST_CREATETASKFILETEST_H
#define VELMO_TEST_CREATETASKFILETEST_H

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include <velmo/CreateTaskFile.h>
#include "CapturedLog.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace velmo::test {

/// Fixture for tests of a submission by file: an installation with a few priorities, a captured
/// system log, and a clock that is stopped at kTimestamp.
///
/// A process loads the priority map once, so every test must run in a separate process. ctest does
/// that.
class CreateTaskFileTest : public testing::Test {
 protected:
  static constexpr time_t kNow = 1741007469;  // kTimestamp in this time zone, UTC+00:54
  static constexpr const char* kTimestamp = "20250303140509";

  CreateTaskFileTest() {
    installation.environment.set("TZ", "EAST-0:54");
    tzset();
    installation.writeHomePriorities("NORMAL=50\nLOW=5\nBEYOND=12000\nUP=20\nDOWN=-20\n");
  }

  // A line of the submission.
  static LogCycle line(const std::string& text) {
    return LogCycle{"CreateTaskFile", 1, 152, 3, text};
  }

  // Submits with the given class and adjustment, everything else plain.
  int submit(const char* priorityType, const char* deltaType = nullptr) {
    return createTaskFile(priorityType, "true", "sh", deltaType, "J1", "0", nullptr, 0);
  }

  int submitCommand(const char* command, const char* jobInfo = nullptr) {
    return createTaskFile("NORMAL", command, "sh", nullptr, "J1", "0", jobInfo, 0);
  }

  // Submits without a job identifier.
  int submitWithNewJob() {
    return createTaskFile("NORMAL", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0);
  }

  std::string queuePath(const std::string& name) const {
    return installation.directory.path("var/taskqueue/" + name);
  }

  std::string temporaryPath(const std::string& name) const {
    return installation.directory.path("tmp/" + name);
  }

  TaskInstallation installation;
  FakeScope fakes;
  CapturedLog log;
  MovedClock clock{kNow};
  const std::string firstName = std::string("0050.") + kTimestamp + ".J1.S0.T" + kTimestamp +
                                "-1.R0000.sh";  // of submit("NORMAL")
  CreateTaskFile creator;
};

}  // namespace velmo::test

#endif
