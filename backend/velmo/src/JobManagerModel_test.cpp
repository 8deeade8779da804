// Compares the job registry with a simple model of its rules, under random calls, a random clock
// and random changes of the files from outside.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "JobManager.h"
#include "JobRegistryModel.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using velmo::test::FakeScope;
using velmo::test::fileTime;
using velmo::test::identifierNumber;
using velmo::test::kStart;
using velmo::test::Model;
using velmo::test::ModelAnswer;
using velmo::test::ModelFile;
using velmo::test::ModelJob;
using velmo::test::MovedClock;
using velmo::test::MovedFileTimes;
using velmo::test::namesIn;
using velmo::test::NoPriority;
using velmo::test::platform;
using velmo::test::priorityNumber;
using velmo::test::readFile;
using velmo::test::Refusal;
using velmo::test::setFileTime;
using velmo::test::TemporaryDirectory;

class NumberedPriorities : public JobPropertyGetter {
 public:
  int getPriority() override {
    return priorityNumber(m_number++);
  }

 private:
  int m_number = 0;
};

// One run of the real registry and the model side by side, in a fresh directory.
class SideBySide {
 public:
  SideBySide(unsigned seed, unsigned long maxJobs, long maxAge)
      : m_random(seed),
        m_maxJobs(maxJobs),
        m_maxAge(maxAge),
        m_model(m_directory.path(), maxJobs, maxAge) {
    platform().generateJobID.setFake([this] { return nextIdentifier(); });
    fakeRefusals();
    startManager();
  }

  // Does one random step and returns its description.
  std::string step() {
    const std::size_t kind = below(100);
    if (kind < 45) {
      return find();
    }
    if (kind < 60) {
      return createOrRead();
    }
    if (kind < 64) {
      return add();
    }
    if (kind < 75) {
      return moveClock();
    }
    if (kind < 98) {
      return interfere();
    }
    return restart();
  }

  void expectSame() {
    for (const auto& [key, job] : m_model.held) {
      expectSameJob(job, m_jobs.at(key));
    }
    std::vector<std::string> names;
    for (const auto& [path, file] : m_model.files) {
      names.push_back(fs::path(path).filename().string());
      expectSameFile(path, file);
    }
    EXPECT_EQ(names, namesIn(m_directory.path()));
  }

 private:
  // --- calls ---

  std::string find() {
    const std::string key = anyKey();
    compare(
        key, [&] { return m_model.find(key); }, [&] { return m_manager->findJobInfo(key); });
    return "find " + key;
  }

  std::string createOrRead() {
    const std::string key = anyKey();
    const std::string path = below(3) == 0 ? pathOf(anyKey()) : pathOf(key);
    if (below(2) == 0) {
      compare(
          key, [&] { return m_model.create(path, key); },
          [&] { return m_manager->createJob(path, key); });
      return "create " + key + " at " + path;
    }
    compare(
        key, [&] { return m_model.read(path, key); },
        [&] { return m_manager->readJobFile(path, key); });
    return "read " + key + " at " + path;
  }

  std::string add() {
    const std::string key = anyKey();
    m_manager->addJob(key, "J99");
    m_model.add(key, "J99");
    const auto file = m_model.files.find(pathOf(key));
    if (file != m_model.files.end() && file->second.kind == ModelFile::Kind::kDirectory) {
      setFileTime(file->first.c_str(), file->second.modified);  // was the kernel's time
    }
    return "add " + key;
  }

  // Another process starts and continues with the files of this one.
  std::string restart() {
    m_manager.reset();
    m_model.held.clear();
    m_jobs.clear();
    startManager();
    return "restart";
  }

  template <typename ModelCall, typename RealCall>
  void compare(const std::string& key, ModelCall modelCall, RealCall realCall) {
    ModelAnswer expected;
    bool throws = false;
    try {
      expected = modelCall();
    } catch (const NoPriority&) {
      throws = true;
    }

    JobInfo* job = nullptr;
    if (throws) {
      EXPECT_THROW(realCall(), NoPriority);
    } else {
      EXPECT_NO_THROW(job = realCall());
    }
    ASSERT_EQ(expected.job.has_value(), job != nullptr);
    if (job == nullptr) {
      return;
    }
    if (expected.wasHeld) {
      EXPECT_EQ(m_jobs.at(key), job) << "not the object of before";
    }
    m_jobs[key] = job;
    expectSameJob(*expected.job, job);
  }

  static void expectSameJob(const ModelJob& expected, const JobInfo* job) {
    EXPECT_EQ(expected.id, job->m_id);
    EXPECT_EQ(expected.user, job->m_user);
    EXPECT_EQ(expected.name, job->m_name);
    EXPECT_EQ(expected.priority, job->m_priority);
    EXPECT_EQ(expected.fileName, job->m_fileName);
    EXPECT_EQ(expected.lastUsed, job->m_lastUsed);
  }

  static void expectSameFile(const std::string& path, const ModelFile& file) {
    switch (file.kind) {
      case ModelFile::Kind::kText:
        EXPECT_EQ(file.text, readFile(path));
        EXPECT_EQ(file.modified, fileTime(path.c_str())) << path;
        break;
      case ModelFile::Kind::kDirectory:
        EXPECT_EQ(file.text.empty() ? 0U : 1U, namesIn(path).size());
        EXPECT_EQ(file.modified, fileTime(path.c_str())) << path;
        if (!file.text.empty()) {
          EXPECT_EQ(file.text, readFile(path + path.substr(path.rfind('/')) + ".tmp"));
        }
        break;
      case ModelFile::Kind::kDanglingLink:
        EXPECT_TRUE(fs::is_symlink(path)) << path;
        break;
    }
  }

  // --- the outside ---

  std::string moveClock() {
    const auto seconds = static_cast<long>(below(12)) - (below(6) == 0 ? 15 : 0);
    m_clock.advance(seconds);
    m_model.now = m_clock.now();
    return "clock " + std::to_string(seconds);
  }

  std::string interfere() {
    const std::string path = pathOf(shortKey());
    switch (below(6)) {
      case 0:
        return removeOutside(path);
      case 1:
        return touchOutside(path);
      case 2:
        return toggleRefusal(path);
      case 3:
        return below(3) == 0 ? makeDirectory(path) : replaceText(path);
      case 4:
        return below(3) == 0 ? makeDanglingLink(path) : replaceText(path);
      default:
        return replaceText(path);
    }
  }

  std::string removeOutside(const std::string& path) {
    fs::remove_all(path);
    m_model.files.erase(path);
    return "remove " + path;
  }

  std::string touchOutside(const std::string& path) {
    const auto file = m_model.files.find(path);
    if (file != m_model.files.end() && file->second.kind != ModelFile::Kind::kDanglingLink) {
      file->second.modified = someTime();
      setFileTime(path.c_str(), file->second.modified);
    }
    return "touch " + path;
  }

  std::string toggleRefusal(const std::string& path) {
    const std::pair<std::string, Refusal> refusal{path, static_cast<Refusal>(below(5))};
    if (m_model.refusals.erase(refusal) == 0) {
      m_model.refusals.insert(refusal);
    }
    return "refusal of " + path + " " + std::to_string(static_cast<int>(refusal.second));
  }

  std::string makeDirectory(const std::string& path) {
    removeOutside(path);
    fs::create_directory(path);
    put(path, ModelFile{ModelFile::Kind::kDirectory, "", someTime()});
    return "directory " + path;
  }

  std::string makeDanglingLink(const std::string& path) {
    removeOutside(path);
    fs::create_symlink(m_directory.path("no/where"), path);
    m_model.files[path] = ModelFile{ModelFile::Kind::kDanglingLink, "", 0};
    return "dangling link " + path;
  }

  std::string replaceText(const std::string& path) {
    removeOutside(path);
    const ModelFile file{ModelFile::Kind::kText, someText(), someTime()};
    m_directory.writeFile(fs::path(path).filename().string(), file.text);
    put(path, file);
    return "text " + path + " " + testing::PrintToString(file.text);
  }

  void put(const std::string& path, const ModelFile& file) {
    m_model.files[path] = file;
    setFileTime(path.c_str(), file.modified);
  }

  // --- chance ---

  std::size_t below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_random);
  }

  std::string shortKey() {
    return {static_cast<char>('a' + below(6))};
  }

  std::string anyKey() {
    return below(20) == 0 ? "missing/a" : shortKey();
  }

  std::string pathOf(const std::string& key) const {
    return m_directory.path(key);
  }

  time_t someTime() {
    return m_clock.now() + 3 - static_cast<time_t>(below(18));
  }

  std::string someText() {
    static const std::vector<std::string> lines{
        "id=\"x1\"\n",     "id=\"x2\"\n",         "id=\"\"\n",      "user=\"v\"\n",
        "user=\"\"\n",     "name=\"w\"\n",        "name=\n",        "priority=\"5\"\n",
        "priority=\"\"\n", " id=\"x3\"\n",        "noise\n",        "\n",
        "user=\"a=b\"\n",  std::string(255, '#'), "id=\"x4\" tail", "priority=\"-8\n",
    };
    std::string text;
    for (std::size_t count = below(6); count > 0; --count) {
      text += lines[below(lines.size())];
    }
    return text;
  }

  // --- the platform ---

  void startManager() {
    m_manager =
        std::make_unique<JobManager>(m_directory.path(), m_maxJobs, m_maxAge, "u", "n", &m_getter);
  }

  char* nextIdentifier() {
    const std::optional<std::string> id = identifierNumber(m_identifiers++);
    if (!id) {
      return nullptr;
    }
    char* copy = new char[id->size() + 1];
    std::memcpy(copy, id->c_str(), id->size() + 1);
    return copy;
  }

  bool refuses(const char* path, Refusal what) const {
    const bool refused = m_model.refusals.count({path, what}) != 0;
    if (refused) {
      errno = EACCES;
    }
    return refused;
  }

  void fakeRefusals() {
    platform().stat.setFake([this](const char* path, struct stat* status) {
      return refuses(path, Refusal::kLook) ? -1 : platform().stat.real(path, status);
    });
    platform().fopen.setFake([this](const char* path, const char* mode) -> FILE* {
      const Refusal what = std::strcmp(mode, "wx") == 0 ? Refusal::kCreate : Refusal::kRead;
      return refuses(path, what) ? nullptr : platform().fopen.real(path, mode);
    });
    platform().unlink.setFake([this](const char* path) {
      return refuses(path, Refusal::kRemove) ? -1 : platform().unlink.real(path);
    });
    platform().utime.setFake([this](const char* path, const utimbuf* times) {
      EXPECT_EQ(nullptr, times);
      return refuses(path, Refusal::kTouch) ? -1 : m_fileTimes.touch(path);
    });
  }

  std::mt19937 m_random;
  unsigned long m_maxJobs;
  long m_maxAge;
  TemporaryDirectory m_directory;
  FakeScope m_fakes;
  MovedClock m_clock{kStart};
  MovedFileTimes m_fileTimes{m_clock};
  Model m_model;
  int m_identifiers = 0;
  NumberedPriorities m_getter;
  std::unique_ptr<JobManager> m_manager;
  std::map<std::string, JobInfo*> m_jobs;  // the last object returned for each key
};

class JobManagerModelTest : public testing::TestWithParam<long> {};

TEST_P(JobManagerModelTest, RandomCallsHaveTheOutcomeOfTheRules) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    SideBySide run(seed, seed % 5, GetParam());
    std::string steps;
    for (int i = 0; i < 300; ++i) {
      steps += run.step() + "\n";
      run.expectSame();
      ASSERT_FALSE(HasFailure()) << "seed " << seed << ", maximum " << seed % 5 << ", after\n"
                                 << steps;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(MaximumAges, JobManagerModelTest, testing::Values(0, 1, 10, LONG_MAX, -3));

}  // namespace
