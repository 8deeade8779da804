// The program cancels a thread that is inside the library. A cancellation is not a C++ exception,
// but it unwinds the same frames.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <velmo/Config.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/IMException.h>
#include <velmo/IMMemSemaphore.h>
#include <velmo/IMProperties.h>
#include <velmo/IMSemaphore.h>
#include <velmo/JobManager.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "PlatformCalls.h"
#include "TaskInstallation.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::Config;
using brix::imutils::IMMemSemaphore;
using brix::imutils::IMProperties;
using brix::imutils::IMSemaphore;
using testing::IsEmpty;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::TaskInstallation;
using velmo::test::TemporaryDirectory;
using velmo::test::TestSemaphore;

// Makes these calls act on a cancellation before and after their work. POSIX permits each of them
// to do so; whether the platform does depends on timing.
void makeCallsCancellationPoints() {
  platform().open.setFake([](const char* path, int flags, mode_t mode) {
    pthread_testcancel();
    const int descriptor = platform().open.real(path, flags, mode);
    pthread_testcancel();
    return descriptor;
  });
  platform().fopen.setFake([](const char* path, const char* mode) {
    pthread_testcancel();
    FILE* const stream = platform().fopen.real(path, mode);
    pthread_testcancel();
    return stream;
  });
  platform().fclose.setFake([](FILE* stream) {
    const int result = platform().fclose.real(stream);
    pthread_testcancel();
    return result;
  });
  platform().unlink.setFake([](const char* path) {
    const int result = platform().unlink.real(path);
    pthread_testcancel();
    return result;
  });
  platform().syslog.setFake([](int /*priority*/, const char* /*text*/) { pthread_testcancel(); });
}

// Runs `body` in a thread with a cancellation pending. The thread then reaches a cancellation
// point.
void inCancelledThread(const std::function<void()>& body) {
  pthread_t thread{};
  const auto run = [](void* argument) -> void* {
    pthread_cancel(pthread_self());
    (*static_cast<const std::function<void()>*>(argument))();
    pthread_testcancel();
    return nullptr;
  };
  std::function<void()> copy = body;
  ASSERT_EQ(0, pthread_create(&thread, nullptr, run, &copy));
  void* result = nullptr;
  ASSERT_EQ(0, pthread_join(thread, &result));
  EXPECT_EQ(PTHREAD_CANCELED, result);
}

class CancelledThreadTest : public testing::Test {
 protected:
  const TemporaryDirectory directory;
  const FakeScope fakes;
};

TEST_F(CancelledThreadTest, LoadDoesNotTakeACancellationForABadFile) {
  makeCallsCancellationPoints();
  Config config(std::string("/dev/null"));
  inCancelledThread([&config] { config.load(); });
}

TEST_F(CancelledThreadTest, LockFileThatIsCreatedIsHeld) {
  makeCallsCancellationPoints();
  const std::size_t before = openDescriptors();
  bool isTaken = false;
  inCancelledThread([this, &isTaken] {
    IMSemaphore semaphore("x", directory.path(), true);
    isTaken = semaphore.lockResource();
  });
  EXPECT_TRUE(isTaken);
  EXPECT_FALSE(exists(directory.path("semaphore_x")));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(CancelledThreadTest, WaitForTheLockCanBeCancelled) {
  directory.writeFile("semaphore_x", "");
  inCancelledThread([this] {
    IMSemaphore semaphore("x", directory.path(), true);
    semaphore.lock(0);
  });
  EXPECT_TRUE(exists(directory.path("semaphore_x")));
}

TEST_F(CancelledThreadTest, JobNumberIsIssuedWholeAndTheJobLockReleased) {
  const TaskInstallation installation;
  installation.writeJobCounter("16");
  makeCallsCancellationPoints();
  const std::size_t before = openDescriptors();
  std::string jobId;
  inCancelledThread([&jobId] { jobId = CreateTaskFile().generateJobID(); });
  EXPECT_EQ("J17", jobId);
  EXPECT_EQ("17", installation.jobCounter());
  EXPECT_FALSE(exists(installation.directory.path("lock/semaphore_velmo_jobid")));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(CancelledThreadTest, TaskFileIsInTheQueueOrNowhere) {
  const TaskInstallation installation;
  installation.writeHomePriorities("Normal=500\n");
  ASSERT_TRUE(CreateTaskFile().createPriorityMap());
  makeCallsCancellationPoints();
  const std::size_t before = openDescriptors();
  int result = -2;
  inCancelledThread([&result] {
    result = createTaskFile("Normal", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0);
  });
  EXPECT_EQ(0, result);
  EXPECT_EQ("true\n", installation.onlyTask());
  EXPECT_THAT(installation.temporary(), IsEmpty());
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(CancelledThreadTest, PropertiesFileIsWrittenWhole) {
  IMProperties properties;
  properties.setProperty("name", "value");
  makeCallsCancellationPoints();
  const std::string file = directory.path("file");
  const std::size_t before = openDescriptors();
  inCancelledThread([&properties, &file] { properties.write(file.c_str()); });
  EXPECT_EQ("name=\"value\"\n", readFile(file));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(CancelledThreadTest, PropertiesFileIsReadWhole) {
  IMProperties properties;
  const std::string file = directory.writeFile("file", "name = value\n");
  inCancelledThread([&properties, &file] { properties.load(file.c_str()); });
  EXPECT_STREQ("value", properties.getProperty("name"));
}

TEST_F(CancelledThreadTest, JobFileIsReadWhole) {
  const std::string file = directory.writeFile("job", "id=\"J17\"\n");
  JobManager manager(directory.path(), 1, 0, "", "", nullptr);
  std::string id;
  inCancelledThread([&] { id = manager.readJobFile(file, "job")->m_id; });
  EXPECT_EQ("J17", id);
}

TEST_F(CancelledThreadTest, ExceptionIsPrintedWhole) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  inCancelledThread([&file] { brix::imutils::IMException(2, "text").print(file.get()); });
  std::rewind(file.get());
  std::array<char, 100> text{};
  EXPECT_NE(nullptr, std::fgets(text.data(), text.size(), file.get()));
  EXPECT_STREQ("Unknown Exception: [2] text\n", text.data());
}

TEST_F(CancelledThreadTest, JobFileIsWrittenWhole) {
  makeCallsCancellationPoints();
  const std::string file = directory.path("job");
  const std::size_t before = openDescriptors();
  inCancelledThread([&file] { JobInfo(file, "J17", "", "", 50).createFile(); });
  EXPECT_EQ("id=\"J17\"\npriority=\"50\"\n", readFile(file));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(CancelledThreadTest, FailureThatADestructorLogsDoesNotEndTheProcess) {
  makeCallsCancellationPoints();
  platform().semop.setFake([](int /*id*/, sembuf* /*operations*/, size_t /*count*/) {
    errno = EIDRM;
    return -1;
  });
  const TestSemaphore semaphore{1};
  inCancelledThread([&semaphore] { const IMMemSemaphore destroyed(semaphore.key(), true); });
}

TEST_F(CancelledThreadTest, TaskSemaphoreIsReleasedWhenALineIsCut) {
  const TaskInstallation installation;
  makeCallsCancellationPoints();
  platform().shmget.setFake([](key_t /*key*/, size_t /*size*/, int /*flags*/) { return -1; });
  inCancelledThread([] { CreateTaskFile().generateTaskID(); });
  EXPECT_EQ(1, installation.semaphore.value());
}

}  // namespace
