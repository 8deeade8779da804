#ifndef VELMO_TEST_JOBMANAGERTEST_H
#define VELMO_TEST_JOBMANAGERTEST_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include <velmo/JobManager.h>
#include "CapturedLog.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace velmo::test {

/// Returns one priority and counts the calls.
class StubGetter : public JobPropertyGetter {
 public:
  explicit StubGetter(int priority) : m_priority(priority) {}

  int getPriority() override {
    ++m_asked;
    return m_priority;
  }

  int asked() const {
    return m_asked;
  }

 private:
  int m_priority;
  int m_asked = 0;
};

/// Fixture of JobManager tests: a new installation, whose first job identifier is J0, an empty job
/// directory, and a moved clock that files follow too.
class JobManagerTest : public testing::Test {
 protected:
  static constexpr time_t kNow = 1741007469;
  static constexpr long kMaxAge = 100;

  JobManagerTest() {
    installation.directory.makeDirectory("jobs");
  }

  // A manager with the user "u", the name "n" and the priority 7.
  JobManager manager(unsigned long maxJobs = 10, long maxAge = kMaxAge) {
    return {jobDir, maxJobs, maxAge, "u", "n", &getter};
  }

  std::string path(const std::string& key) const {
    return jobDir + "/" + key;
  }

  // A job file that was last used `age` seconds ago.
  void writeJob(const std::string& key, const std::string& contents, time_t age = 0) const {
    installation.directory.writeFile("jobs/" + key, contents);
    setAge(key, age);
  }

  void setAge(const std::string& key, time_t age) const {
    setFileTime(path(key).c_str(), clock.now() - age);
  }

  time_t timeOf(const std::string& key) const {
    return fileTime(path(key).c_str());
  }

  bool hasFile(const std::string& key) const {
    return exists(path(key));
  }

  std::string contentsOf(const std::string& key) const {
    return readFile(path(key));
  }

  // The last number of the job counter.
  std::string drawn() const {
    return installation.jobCounter();
  }

  // The contents of a new job file.
  static std::string newFile(const std::string& id) {
    return "id=\"" + id + "\"\nuser=\"u\"\nname=\"n\"\npriority=\"7\"\n";
  }

  // Records the names of files passed to stat from now on.
  void recordStats() {
    platform().stat.setFake([this](const char* file, struct stat* status) {
      statted.push_back(std::filesystem::path(file).filename().string());
      return platform().stat.real(file, status);
    });
  }

  // Records the paths removed from now on, lock files included.
  void recordUnlinks() {
    platform().unlink.setFake([this](const char* file) {
      unlinked.emplace_back(file);
      return platform().unlink.real(file);
    });
  }

  TaskInstallation installation;
  const std::string jobDir = installation.directory.path("jobs");
  FakeScope fakes;
  CapturedLog log;
  MovedClock clock{kNow};
  MovedFileTimes fileTimes{clock};
  StubGetter getter{7};
  std::vector<std::string> statted;
  std::vector<std::string> unlinked;
};

}  // namespace velmo::test

#endif
