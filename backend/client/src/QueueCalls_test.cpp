#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "TaskInstallation.h"
#include "velmo.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using velmo::test::TaskInstallation;

class QueueCallsTest : public testing::Test {
 protected:
  QueueCallsTest() {
    place.writeHomePriorities("Normal=50\nSooner=-7\nText=abc\n");
    place.writeConfPriorities("");
    task.size = sizeof task;
    task.priority_class = "Normal";
    task.command = "echo 100%% %s";
    task.job = "J12";
  }

  ~QueueCallsTest() override {
    velmo_close(handle);
  }

  velmo_installation* open() {
    if (handle == nullptr) {
      EXPECT_EQ(VELMO_OK, velmo_open(nullptr, &handle, &error)) << error.message;
    }
    return handle;
  }

  velmo_status submit(int timeoutMs = 0, unsigned flags = 0) {
    std::memset(name, 'x', sizeof name);
    return velmo_submit(open(), &task, timeoutMs, flags, name, &error);
  }

  TaskInstallation place;
  velmo_installation* handle = nullptr;
  velmo_task task{};
  velmo_error error{};
  char name[VELMO_NAME_SIZE] = {};
};

// --- velmo_submit ---

TEST_F(QueueCallsTest, TaskIsQueuedUnderTheNameThatIsReturned) {
  ASSERT_EQ(VELMO_OK, submit()) << error.message;
  EXPECT_THAT(place.queue(), ElementsAre(name));
  EXPECT_THAT(name, MatchesRegex("0050\\.[0-9]{14}\\.J12\\.S0\\.T[0-9]{14}-1\\.R0000\\.sh"));
  EXPECT_THAT(place.temporary(), IsEmpty());
}

TEST_F(QueueCallsTest, CommandIsWrittenAsGivenWithItsPercentSigns) {
  ASSERT_EQ(VELMO_OK, submit());
  EXPECT_EQ("echo 100%% %s\n", place.onlyTask());
}

TEST_F(QueueCallsTest, InformationIsTheSecondLine) {
  task.information = "#1USE=u";
  ASSERT_EQ(VELMO_OK, submit());
  EXPECT_EQ("echo 100%% %s\n#1USE=u\n", place.onlyTask());
}

TEST_F(QueueCallsTest, FieldsAreInTheName) {
  task.type = "java";
  task.adjustment = "Sooner";
  task.sub_job = "1_x";
  task.relative_priority = -3;
  ASSERT_EQ(VELMO_OK, submit());
  velmo_task_name parts{};
  ASSERT_EQ(VELMO_OK, velmo_parse_name(name, &parts));
  EXPECT_EQ(43, parts.priority);
  EXPECT_EQ(1, parts.task);
  EXPECT_EQ(-3, parts.relative_priority);
  EXPECT_STREQ("J12", parts.job);
  EXPECT_STREQ("1_x", parts.sub_job);
  EXPECT_STREQ("java", parts.type);
}

TEST_F(QueueCallsTest, TaskWithoutAJobGetsANewOne) {
  place.writeServerIdentity("SELF_SERVER_ID=node2\n");
  place.writeJobCounter("16");
  task.job = nullptr;
  ASSERT_EQ(VELMO_OK, submit());
  EXPECT_THAT(name, HasSubstr(".node2-J17.S0."));
  EXPECT_EQ("17", place.jobCounter());
}

TEST_F(QueueCallsTest, DurableTaskIsQueuedToo) {
  task.job = "";
  ASSERT_EQ(VELMO_OK, submit(0, VELMO_DURABLE)) << error.message;
  EXPECT_THAT(place.queue(), ElementsAre(name));
}

TEST_F(QueueCallsTest, OutputsMayBeNull) {
  EXPECT_EQ(VELMO_OK, velmo_submit(open(), &task, 0, 0, nullptr, nullptr));
  task.command = nullptr;
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_submit(open(), &task, 0, 0, nullptr, nullptr));
}

TEST_F(QueueCallsTest, SuccessLeavesTheErrorAndFailureTheNameUnchanged) {
  velmo_error before;
  std::memset(&before, 'e', sizeof before);
  error = before;
  ASSERT_EQ(VELMO_OK, submit());
  EXPECT_EQ(0, std::memcmp(&before, &error, sizeof error));
  task.command = "";
  ASSERT_EQ(VELMO_INVALID_ARGUMENT, submit());
  EXPECT_EQ('x', name[0]);
}

TEST_F(QueueCallsTest, MistakesOfTheCallerAreRefusedBeforeAnythingIsDrawn) {
  struct Row {
    void (*change)(velmo_task&);
    const char* text;
  };
  const std::vector<Row> rows{
      {[](velmo_task& t) { t.priority_class = nullptr; }, "priority_class is missing"},
      {[](velmo_task& t) { t.command = ""; }, "command is missing"},
      {[](velmo_task& t) { t.command = "a\nb"; }, "command contains a line feed"},
      {[](velmo_task& t) { t.information = "\n"; }, "information contains a line feed"},
      {[](velmo_task& t) { t.job = "a/b"; }, "job contains \"/\": \"a/b\""},
      {[](velmo_task& t) { t.type = "s\th"; }, "type contains a control character: \"s\\x09h\""},
      {[](velmo_task& t) { t.size = 8; }, "the size of velmo_task is 8"},
  };
  task.job = nullptr;
  for (const Row& row : rows) {
    const velmo_task good = task;
    row.change(task);
    EXPECT_EQ(VELMO_INVALID_ARGUMENT, submit()) << row.text;
    EXPECT_THAT(error.message, HasSubstr(row.text));
    task = good;
  }
  EXPECT_EQ(0, place.counter.value());
  EXPECT_THAT(place.queue(), IsEmpty());
}

TEST_F(QueueCallsTest, NullHandleTaskTimeoutAndFlagsAreChecked) {
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_submit(nullptr, &task, 0, 0, name, &error));
  EXPECT_STREQ("installation is missing", error.message);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_submit(open(), nullptr, 0, 0, name, &error));
  EXPECT_STREQ("task is missing", error.message);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, submit(-2));
  EXPECT_STREQ("timeout_ms is out of range: -2", error.message);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, submit(0, 6));
  EXPECT_STREQ("the flags 6 are not known to this version of the library", error.message);
}

TEST_F(QueueCallsTest, NameThatWouldBeTooLongIsRefusedBeforeAnythingIsDrawn) {
  const std::string longJob(210, 'j');
  task.job = longJob.c_str();
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, submit());
  EXPECT_THAT(error.message, HasSubstr("255 is the limit"));
  EXPECT_EQ(0, place.counter.value());
}

TEST_F(QueueCallsTest, NameThatWouldReadBackDifferentlyIsRefused) {
  task.sub_job = "0.S1";
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, submit());
  EXPECT_THAT(error.message, StartsWith("the service would read other parts from the task's name"));
  EXPECT_EQ(0, place.counter.value());
}

TEST_F(QueueCallsTest, UnknownClassIsRefusedWithTheFilesAndTheNames) {
  task.priority_class = "Norml";
  EXPECT_EQ(VELMO_NOT_CONFIGURED, submit());
  EXPECT_THAT(error.message, StartsWith("no priority class \"Norml\" in "));
  EXPECT_THAT(error.message, HasSubstr("/priorities.cfg"));
  EXPECT_THAT(error.message, HasSubstr("Normal"));
}

TEST_F(QueueCallsTest, ClassWhoseValueIsNotANumberIsRefused) {
  task.priority_class = "Text";
  EXPECT_EQ(VELMO_NOT_CONFIGURED, submit());
  EXPECT_THAT(error.message, StartsWith("the priority class \"Text\" has no number in "));
}

TEST_F(QueueCallsTest, MissingVariableIsNamed) {
  for (const char* variable : {"TMP", "VAR", "SHARED_VELMO_TASKID", "SEMAPHORE_VELMO_TASKID"}) {
    const std::string value = std::getenv(variable);
    unsetenv(variable);
    velmo_close(handle);
    handle = nullptr;
    EXPECT_EQ(VELMO_NOT_CONFIGURED, submit());
    EXPECT_EQ(std::string(variable) + " is not set", error.message);
    setenv(variable, value.c_str(), 1);
  }
}

TEST_F(QueueCallsTest, SettingsOfTheHandleCountNotThoseOfTheMoment) {
  open();
  unsetenv("VAR");
  place.writeHomePriorities("");
  EXPECT_EQ(VELMO_OK, submit()) << error.message;
}

TEST_F(QueueCallsTest, MissingSemaphoreMeansNotRunningAndNothingIsCreated) {
  place.semaphore.remove();
  EXPECT_EQ(VELMO_NOT_RUNNING, submit(VELMO_NO_LIMIT));
  EXPECT_THAT(error.message, StartsWith("the service is not running: "));
  EXPECT_THAT(place.queue(), IsEmpty());
  EXPECT_EQ(-1, semget(place.semaphore.key(), 1, 0));
}

TEST_F(QueueCallsTest, ServiceThatIsNotRunningCostsNoJobNumber) {
  place.semaphore.remove();
  place.writeJobCounter("16");
  task.job = nullptr;
  EXPECT_EQ(VELMO_NOT_RUNNING, submit());
  EXPECT_EQ("16", place.jobCounter());
}

TEST_F(QueueCallsTest, NameThatIsTakenIsNotReplacedAndTheNextNumberIsTried) {
  ASSERT_EQ(VELMO_OK, submit());
  const std::string first = name;
  place.counter.setValue(0);
  ASSERT_EQ(VELMO_OK, submit());
  EXPECT_NE(first, name);
  EXPECT_EQ(2U, place.queue().size());
}

TEST_F(QueueCallsTest, MissingQueueIsNotConfiguredAndTheTemporaryFileIsRemoved) {
  std::filesystem::remove_all(place.directory.path("var/taskqueue"));
  EXPECT_EQ(VELMO_NOT_CONFIGURED, submit());
  EXPECT_THAT(error.message, StartsWith("the directory of VAR is missing: "));
  EXPECT_THAT(place.temporary(), IsEmpty());
}

TEST_F(QueueCallsTest, CancellationIsNotActedOn) {
  open();
  pthread_cancel(pthread_self());
  const velmo_status status = submit();
  int state = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);  // the rest of the test is not cancelled
  EXPECT_EQ(VELMO_OK, status);
  EXPECT_EQ(PTHREAD_CANCEL_ENABLE, state);
  EXPECT_EQ(1U, place.queue().size());
}

// --- velmo_new_job ---

TEST_F(QueueCallsTest, NewJobIsTheNextNumber) {
  place.writeJobCounter("16");
  char job[VELMO_NAME_SIZE] = {};
  ASSERT_EQ(VELMO_OK, velmo_new_job(open(), 0, 0, job, &error)) << error.message;
  EXPECT_STREQ("J17", job);
  EXPECT_EQ(VELMO_OK, velmo_new_job(open(), 0, VELMO_DURABLE, nullptr, nullptr));
  EXPECT_EQ("18", place.jobCounter());
}

TEST_F(QueueCallsTest, IdentityOfTheServerThatIsUnusableCostsNoJobNumber) {
  place.writeServerIdentity("SELF_SERVER_ID=a/b\n");
  place.writeJobCounter("16");
  EXPECT_EQ(VELMO_NOT_CONFIGURED, velmo_new_job(open(), 0, 0, nullptr, &error));
  EXPECT_THAT(error.message, HasSubstr("cannot be part of a job: \"a/b\""));
  EXPECT_EQ("16", place.jobCounter());
}

TEST_F(QueueCallsTest, VariablesOfTheJobCounterAreNeeded) {
  for (const char* variable : {"DATA", "LOCK_VAR"}) {
    const std::string value = std::getenv(variable);
    unsetenv(variable);
    velmo_close(handle);
    handle = nullptr;
    EXPECT_EQ(VELMO_NOT_CONFIGURED, velmo_new_job(open(), 0, 0, nullptr, &error));
    EXPECT_EQ(std::string(variable) + " is not set", error.message);
    setenv(variable, value.c_str(), 1);
  }
}

TEST_F(QueueCallsTest, CounterWithoutANumberIsRefusedAndTheTaskIsNotQueued) {
  place.writeJobCounter("garbage");
  task.job = nullptr;
  EXPECT_EQ(VELMO_NOT_CONFIGURED, submit());
  EXPECT_THAT(error.message, StartsWith("the job counter does not hold a number: "));
  EXPECT_THAT(place.queue(), IsEmpty());
  EXPECT_EQ("garbage", place.jobCounter());
}

// --- velmo_find_job ---

class FindJobTest : public QueueCallsTest {
 protected:
  velmo_status find(const char* key) {
    return velmo_find_job(open(), jobs.c_str(), key, 0, 0, &job, &error);
  }

  const std::string jobs = place.directory.makeDirectory("jobs");
  velmo_job job{};
};

TEST_F(FindJobTest, NewJobIsFoundAgain) {
  std::strcpy(job.user, "u");
  std::strcpy(job.name, "n");
  job.priority = 50;
  ASSERT_EQ(VELMO_OK, find("key")) << error.message;
  EXPECT_STREQ("J0", job.id);
  EXPECT_EQ(1, job.is_new);
  EXPECT_STREQ("#1USE=u#1JNA=n", job.information);

  velmo_job again{};
  ASSERT_EQ(VELMO_OK, velmo_find_job(open(), jobs.c_str(), "key", 0, 0, &again, &error));
  EXPECT_STREQ("J0", again.id);
  EXPECT_STREQ("u", again.user);
  EXPECT_STREQ("n", again.name);
  EXPECT_EQ(50, again.priority);
  EXPECT_EQ(0, again.is_new);
  EXPECT_STREQ("#1USE=u#1JNA=n", again.information);
}

TEST_F(FindJobTest, LongestUserAndNameReadBack) {
  std::memset(job.user, 'u', 249);
  std::memset(job.name, 'n', 249);
  ASSERT_EQ(VELMO_OK, find("key")) << error.message;
  job = {};
  ASSERT_EQ(VELMO_OK, find("key")) << error.message;
  EXPECT_EQ("#1USE=" + std::string(249, 'u') + "#1JNA=" + std::string(249, 'n'), job.information);
  job.user[249] = 'u';
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, find("other"));
}

TEST_F(FindJobTest, IdentityThatWouldNotReadBackCostsNoJobNumber) {
  place.writeServerIdentity("SELF_SERVER_ID=node=2\n");
  place.writeJobCounter("16");
  EXPECT_EQ(VELMO_NOT_CONFIGURED, find("key"));
  EXPECT_THAT(error.message, HasSubstr("cannot be part of a job: \"node=2\""));
  EXPECT_EQ("16", place.jobCounter());
}

TEST_F(FindJobTest, UserWithoutAnEndIsRefused) {
  std::memset(job.user, 'u', 256);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, find("key"));
  EXPECT_STREQ("user is too long: 256 bytes", error.message);
}

TEST_F(FindJobTest, UserThatWouldNotReadBackIsRefused) {
  std::strcpy(job.user, "a\"b");
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, find("key"));
  EXPECT_STREQ("user would not read back from a job file: \"a\"b\"", error.message);
}

TEST_F(FindJobTest, ArgumentsAreChecked) {
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, find("a/b"));
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, find(nullptr));
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_find_job(open(), nullptr, "key", 0, 0, &job, &error));
  EXPECT_STREQ("directory is missing", error.message);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT,
            velmo_find_job(open(), jobs.c_str(), "key", 0, 0, nullptr, &error));
  EXPECT_STREQ("in_out is missing", error.message);
}

TEST_F(FindJobTest, FailureLeavesTheJobUnchanged) {
  std::strcpy(job.id, "mine");
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, find(".."));
  EXPECT_STREQ("mine", job.id);
}

}  // namespace
