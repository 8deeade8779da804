// The wrapper over a library whose calls the tests answer: errors, and the calls of an
// installation.

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "FakeLibraryTest.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using velmo::Deadline;
using velmo::Durability;
using velmo::Error;
using velmo::InDoubt;
using velmo::Installation;
using velmo::Job;
using velmo::Settings;
using velmo::Status;
using velmo::Task;
using velmo::TaskName;
using velmo::test::failAllocation;
using velmo::test::failAllocations;
using velmo::test::failing;
using velmo::test::FakeLibraryTest;
using velmo::test::restoreAllocations;
using velmo::test::thrownBy;

class VelmoHppTest : public FakeLibraryTest {
 protected:
  // Makes every submission fail with this status.
  void failSubmissionsWith(velmo_status status) {
    library.submit = [status](auto, auto, auto, auto, auto, velmo_error* error) {
      return failing(status, error);
    };
  }

  void submit() const {
    installation.submit(task, 1s);
  }

  const Installation installation;
  const Task task{"Normal", "true"};
};

// --- errors ---

TEST_F(VelmoHppTest, ErrorHasEveryFieldOfTheCalls) {
  velmo_error fields{VELMO_IN_DOUBT, VELMO_CONNECTION_LOST, 104, 1006, {}, "a line"};
  const Error error(fields);
  fields = {};
  EXPECT_EQ(Status::inDoubt, error.status());
  EXPECT_EQ(Status::connectionLost, error.cause());
  EXPECT_EQ(104, error.systemError());
  EXPECT_EQ(1006, error.peerCode());
  EXPECT_STREQ("a line", error.what());
  EXPECT_STREQ("a line", static_cast<const std::runtime_error&>(error).what());
}

TEST_F(VelmoHppTest, CopyingAnErrorNeverThrows) {
  EXPECT_TRUE(std::is_nothrow_copy_constructible_v<Error>);
  EXPECT_TRUE(std::is_nothrow_copy_assignable_v<Error>);
  EXPECT_TRUE(std::is_nothrow_copy_constructible_v<InDoubt>);
}

TEST_F(VelmoHppTest, InDoubtIsThrownExactlyForThatStatus) {
  for (velmo_status status = VELMO_INVALID_ARGUMENT; status <= VELMO_UNEXPECTED_REPLY; ++status) {
    failSubmissionsWith(status);
    const std::string number = std::to_string(status);
    EXPECT_EQ((status == VELMO_IN_DOUBT ? "in doubt, " : "") + number + ": status " + number,
              thrownBy([this] { submit(); }));
  }
}

TEST_F(VelmoHppTest, StatusOfALaterLibraryIsAnError) {
  failSubmissionsWith(99);
  EXPECT_EQ("99: status 99", thrownBy([this] { submit(); }));
}

TEST_F(VelmoHppTest, StatusHasTheNumbersOfC) {
  EXPECT_EQ(0, static_cast<int>(Status::ok));
  EXPECT_EQ(7, static_cast<int>(Status::outOfMemory));
  EXPECT_EQ(13, static_cast<int>(Status::unexpectedReply));
}

TEST_F(VelmoHppTest, DoubtIsThrownEvenWithoutMemory) {
  bool isInDoubt = false;
  library.submit = [](auto, auto, auto, auto, auto, velmo_error* error) {
    failAllocations();
    return failing(VELMO_IN_DOUBT, error);
  };
  try {
    submit();
  } catch (const InDoubt&) {
    isInDoubt = true;
  }
  restoreAllocations();
  EXPECT_TRUE(isInDoubt);
}

TEST_F(VelmoHppTest, DoubtHasTheNameOfTheTaskThatTheCallHasWritten) {
  const std::string wanted(255, 'n');
  library.submit = [&](auto, auto, auto, auto, char* name, velmo_error* error) {
    std::strcpy(name, wanted.c_str());
    return failing(VELMO_IN_DOUBT, error);
  };
  std::string found;
  try {
    submit();
  } catch (const InDoubt& doubt) {
    found = doubt.taskName();
  }
  EXPECT_EQ(wanted, found);
  EXPECT_STREQ("", InDoubt(velmo_error{}).taskName());
}

TEST_F(VelmoHppTest, StatusTextAndVersionAreTheLibrarys) {
  EXPECT_STREQ("out of memory", velmo::statusText(Status::outOfMemory));
  EXPECT_STREQ("7.8.9", velmo::version());
}

// --- opening and closing ---

TEST_F(VelmoHppTest, WithoutSettingsTheEnvironmentCounts) {
  const auto* given = reinterpret_cast<const velmo_settings*>(1);
  library.open = [&, open = library.open](const velmo_settings* settings, auto out, auto error) {
    given = settings;
    return open(settings, out, error);
  };
  const Installation opened;
  EXPECT_EQ(nullptr, given);
}

TEST_F(VelmoHppTest, EverySettingIsPassedOn) {
  library.open = [open = library.open](const velmo_settings* given, auto out, auto error) {
    EXPECT_EQ(sizeof(velmo_settings), given->size);
    EXPECT_STREQ("var", given->var);
    EXPECT_STREQ("tmp", given->tmp);
    EXPECT_STREQ("data", given->data);
    EXPECT_STREQ("lock", given->lock_var);
    EXPECT_STREQ("home", given->velmo_home);
    EXPECT_STREQ("conf", given->conf);
    EXPECT_STREQ("1", given->shared_velmo_taskid);
    EXPECT_STREQ("2", given->semaphore_velmo_taskid);
    EXPECT_EQ(nullptr, given->stop);
    return open(given, out, error);
  };
  const Installation opened({"var", "tmp", "data", "lock", "home", "conf", "1", "2"});
}

TEST_F(VelmoHppTest, StopFlagIsReadWhereTheProgramSetsIt) {
  std::atomic<int> stop{0};
  const volatile int* flag = nullptr;
  library.open = [&, open = library.open](const velmo_settings* given, auto out, auto error) {
    flag = given->stop;
    return open(given, out, error);
  };
  Settings settings;
  settings.stop = &stop;
  const Installation opened(settings);
  EXPECT_EQ(0, *flag);
  stop = 15;
  EXPECT_EQ(15, *flag);
}

TEST_F(VelmoHppTest, FailureToOpenIsThrown) {
  library.open = [](auto, auto, velmo_error* error) {
    return failing(VELMO_NOT_CONFIGURED, error);
  };
  EXPECT_EQ("2: status 2", thrownBy([] { Installation(); }));
}

TEST_F(VelmoHppTest, LastCopyClosesTheHandle) {
  {
    std::optional<Installation> first(Installation{});
    const Installation second = *first;
    Installation third;
    third = second;
    first.reset();
    EXPECT_EQ(2, library.installations);  // the fixture's is one
  }
  EXPECT_EQ(1, library.installations);
}

TEST_F(VelmoHppTest, InstallationThatWasMovedFromIsStillOne) {
  Installation first;
  // NOLINTNEXTLINE(performance-move-const-arg): the rule of this test
  const Installation second = std::move(first);
  const velmo_installation* used = nullptr;
  library.submit = [&](const velmo_installation* handle, auto, auto, auto, auto, auto) {
    used = handle;
    return VELMO_OK;
  };
  first.submit(task, 1s);  // NOLINT(bugprone-use-after-move): the rule of this test
  EXPECT_NE(nullptr, used);
}

TEST_F(VelmoHppTest, HandleIsClosedIfMemoryRunsOutBehindIt) {
  library.open = [open = library.open](auto settings, auto out, auto error) {
    const velmo_status status = open(settings, out, error);
    failAllocation();
    return status;
  };
  EXPECT_EQ("bad_alloc", thrownBy([] { Installation(); }));
  EXPECT_EQ(1, library.installations);
}

TEST_F(VelmoHppTest, SettingsOfTheEnvironmentAreCopied) {
  library.settingsFromEnvironment = [](velmo_settings* out) {
    EXPECT_EQ(sizeof *out, out->size);
    out->var = "/var";
    out->tmp = "/tmp";
    out->data = "/data";
    out->lock_var = "/lock";
    out->velmo_home = "/home";
    out->conf = "/conf";
    out->shared_velmo_taskid = "1";
    out->semaphore_velmo_taskid = nullptr;
    return VELMO_OK;
  };
  const Settings settings = Settings::fromEnvironment();
  EXPECT_EQ("/var", settings.var);
  EXPECT_EQ("/tmp", settings.tmp);
  EXPECT_EQ("/data", settings.data);
  EXPECT_EQ("/lock", settings.lockVar);
  EXPECT_EQ("/home", settings.velmoHome);
  EXPECT_EQ("/conf", settings.conf);
  EXPECT_EQ("1", settings.sharedTaskId);
  EXPECT_EQ("", settings.semaphoreTaskId);
  EXPECT_EQ(nullptr, settings.stop);
}

TEST_F(VelmoHppTest, SettingsThatTheLibraryRefusesAreAnErrorWithTheStatussText) {
  library.settingsFromEnvironment = [](auto) { return VELMO_INVALID_ARGUMENT; };
  EXPECT_EQ("1: some status", thrownBy([] { Settings::fromEnvironment(); }));
}

// --- submitting ---

TEST_F(VelmoHppTest, EveryFieldOfATaskIsPassedOn) {
  library.submit = [](auto, const velmo_task* given, int timeout, unsigned flags, auto, auto) {
    EXPECT_EQ(sizeof(velmo_task), given->size);
    EXPECT_STREQ("class", given->priority_class);
    EXPECT_STREQ("command", given->command);
    EXPECT_STREQ("type", given->type);
    EXPECT_STREQ("adjustment", given->adjustment);
    EXPECT_STREQ("job", given->job);
    EXPECT_STREQ("sub", given->sub_job);
    EXPECT_STREQ("information", given->information);
    EXPECT_EQ(-3, given->relative_priority);
    EXPECT_EQ(VELMO_NO_LIMIT, timeout);
    EXPECT_EQ(0U, flags);
    return VELMO_OK;
  };
  installation.submit({"class", "command", "type", "adjustment", "job", "sub", "information", -3},
                      Deadline::never());
}

TEST_F(VelmoHppTest, DurabilityIsAFlag) {
  unsigned submitted = 0;
  unsigned numbered = 0;
  library.submit = [&](auto, auto, auto, unsigned flags, auto, auto) {
    submitted = flags;
    return VELMO_OK;
  };
  library.newJob = [&](auto, auto, unsigned flags, auto, auto) {
    numbered = flags;
    return VELMO_OK;
  };
  installation.submit(task, 1s, Durability::powerCut);
  installation.newJob(1s, Durability::powerCut);
  EXPECT_EQ(VELMO_DURABLE, submitted);
  EXPECT_EQ(VELMO_DURABLE, numbered);
}

TEST_F(VelmoHppTest, NameOfEveryLengthIsReturned) {
  for (const std::size_t length : {0U, 1U, 15U, 16U, 254U, 255U}) {
    const std::string wanted(length, 'n');
    library.submit = [&](auto, auto, auto, auto, char* name, auto) {
      std::strcpy(name, wanted.c_str());
      return VELMO_OK;
    };
    EXPECT_EQ(wanted, installation.submit(task, 1s));
  }
}

TEST_F(VelmoHppTest, NameOfAQueuedTaskIsReturnedEvenWithoutMemory) {
  library.submit = [](auto, auto, auto, auto, char* name, auto) {
    std::strcpy(name, std::string(255, 'n').c_str());
    failAllocations();
    return VELMO_OK;
  };
  const std::string name = installation.submit(task, 1s);
  restoreAllocations();
  EXPECT_EQ(std::string(255, 'n'), name);
}

TEST_F(VelmoHppTest, MemoryThatRunsOutBeforeTheCallSubmitsNothing) {
  library.submit = [](auto...) {
    ADD_FAILURE() << "called";
    return VELMO_OK;
  };
  bool isThrown = false;
  try {
    failAllocations();
    submit();
  } catch (const std::bad_alloc&) {
    restoreAllocations();
    isThrown = true;
  }
  EXPECT_TRUE(isThrown);
}

TEST_F(VelmoHppTest, JobIdentifierIsReturned) {
  library.newJob = [](auto, int timeout, unsigned flags, char* job, auto) {
    EXPECT_EQ(0, timeout);
    EXPECT_EQ(0U, flags);
    std::strcpy(job, "node2-J17");
    return VELMO_OK;
  };
  EXPECT_EQ("node2-J17", installation.newJob(0s));
}

// --- jobs under keys ---

TEST_F(VelmoHppTest, JobIsFoundWithEverything) {
  library.findJob = [](auto, const char* directory, const char* key, int timeout, unsigned flags,
                       velmo_job* job, auto) {
    EXPECT_STREQ("/jobs", directory);
    EXPECT_STREQ("key", key);
    EXPECT_EQ(VELMO_NO_LIMIT, timeout);
    EXPECT_EQ(VELMO_DURABLE, flags);
    EXPECT_STREQ("", job->id);
    EXPECT_STREQ("me", job->user);
    EXPECT_STREQ("report", job->name);
    EXPECT_EQ(500, job->priority);
    *job = velmo_job{"J7", "you", "list", 3, 1, "#1USE=you"};
    return VELMO_OK;
  };
  const Job job = installation.findJob("/jobs", "key", {"ignored", "me", "report", "ignored", 500},
                                       Deadline::never(), Durability::powerCut);
  EXPECT_EQ("J7", job.id);
  EXPECT_EQ("you", job.user);
  EXPECT_EQ("list", job.name);
  EXPECT_EQ("#1USE=you", job.information);
  EXPECT_EQ(3, job.priority);
  EXPECT_TRUE(job.isNew);
}

TEST_F(VelmoHppTest, JobThatWasMadeIsReturnedEvenWithoutMemory) {
  library.findJob = [](auto, auto, auto, auto, auto, velmo_job* job, auto) {
    std::memset(job->information, 'i', sizeof job->information - 1);
    std::memset(job->user, 'u', sizeof job->user - 1);
    job->is_new = 1;
    failAllocations();
    return VELMO_OK;
  };
  const Job job = installation.findJob("/jobs", "key", {}, 1s);
  restoreAllocations();
  EXPECT_EQ(std::string(527, 'i'), job.information);
  EXPECT_EQ(std::string(255, 'u'), job.user);
  EXPECT_TRUE(job.isNew);
}

TEST_F(VelmoHppTest, UserAndNameOfAJobHaveAtMost255Bytes) {
  const std::string longest(255, 'x');
  library.findJob = [&](auto, auto, auto, auto, auto, velmo_job* job, auto) {
    EXPECT_EQ(longest, job->user);
    EXPECT_EQ(longest, job->name);
    return VELMO_OK;
  };
  installation.findJob("/jobs", "key", {"", longest, longest}, 1s);
  EXPECT_EQ("1: user is too long: 256 bytes", thrownBy([&] {
              installation.findJob("/jobs", "key", {"", longest + 'x', ""}, 1s);
            }));
  EXPECT_EQ("1: name is too long: 256 bytes", thrownBy([&] {
              installation.findJob("/jobs", "key", {"", "", longest + 'x'}, 1s);
            }));
}

// --- the queue ---

TEST_F(VelmoHppTest, ListHasEveryNameAndIsFreed) {
  EXPECT_EQ((std::vector<std::string>{"one", "two"}), installation.list());
  EXPECT_EQ(0, library.listings);
}

TEST_F(VelmoHppTest, ListIsFreedIfMemoryRunsOut) {
  library.list = [list = library.list](auto handle, auto out, auto error) {
    const velmo_status status = list(handle, out, error);
    failAllocation();
    return status;
  };
  EXPECT_EQ("bad_alloc", thrownBy([this] { installation.list(); }));
  EXPECT_EQ(0, library.listings);
}

TEST_F(VelmoHppTest, CancellingATaskThatIsNotThereIsFalse) {
  EXPECT_TRUE(installation.cancel("name"));
  library.cancel = [](auto, const char* name, velmo_error* error) {
    EXPECT_STREQ("name", name);
    return failing(VELMO_NOT_FOUND, error);
  };
  EXPECT_FALSE(installation.cancel("name"));
  library.cancel = [](auto, auto, velmo_error* error) {
    return failing(VELMO_SYSTEM_ERROR, error);
  };
  EXPECT_EQ("6: status 6", thrownBy([this] { installation.cancel("name"); }));
}

TEST_F(VelmoHppTest, QueueDirectoryIsEmptyIfVarIsNotSet) {
  EXPECT_EQ("", installation.queueDirectory());
  library.queueDirectory = [](auto) { return "/var/taskqueue"; };
  EXPECT_EQ("/var/taskqueue", installation.queueDirectory());
}

// --- checking ---

TEST_F(VelmoHppTest, FindingsAreReturnedInTheirOrder) {
  library.check = [](auto, const velmo_task* given, velmo_finding_fn* take, void* user) {
    EXPECT_EQ(nullptr, given);
    velmo_error finding{};
    failing(VELMO_NOT_RUNNING, &finding);
    take(user, &finding);
    failing(VELMO_IN_DOUBT, &finding);
    take(user, &finding);
    return VELMO_NOT_RUNNING;
  };
  const std::vector<Error> findings = installation.check();
  ASSERT_EQ(2U, findings.size());
  EXPECT_STREQ("status 3", findings[0].what());
  EXPECT_EQ(Status::inDoubt, findings[1].status());
}

TEST_F(VelmoHppTest, WithoutFindingsAllIsWell) {
  EXPECT_TRUE(installation.check().empty());
}

TEST_F(VelmoHppTest, TaskIsCheckedToo) {
  library.check = [](auto, const velmo_task* given, auto, auto) {
    EXPECT_STREQ("Normal", given->priority_class);
    return VELMO_OK;
  };
  EXPECT_TRUE(installation.check(&task).empty());
}

TEST_F(VelmoHppTest, CheckThatCouldNotBeMadeIsAnError) {
  library.check = [](auto, auto, auto, auto) { return VELMO_OUT_OF_MEMORY; };
  EXPECT_EQ("7: out of memory", thrownBy([this] { installation.check(); }));
}

TEST_F(VelmoHppTest, MemoryThatRunsOutForAFindingIsThrownAfterTheCall) {
  int calls = 0;
  library.check = [&](auto, auto, velmo_finding_fn* take, void* user) {
    const velmo_error finding{};
    for (; calls < 3; ++calls) {
      if (calls == 1) {
        failAllocation();
      }
      take(user, &finding);
    }
    return VELMO_NOT_RUNNING;
  };
  EXPECT_EQ("bad_alloc", thrownBy([this] { installation.check(); }));
  EXPECT_EQ(3, calls);
}

// --- names ---

TEST_F(VelmoHppTest, PartsOfATaskNameAreReturned) {
  library.parseName = [](const char* name, velmo_task_name* out) {
    EXPECT_STREQ("name", name);
    *out = velmo_task_name{50, 731, -2, "20250303140509", "J12", "0", "sh"};
    return VELMO_OK;
  };
  const std::optional<TaskName> parts = velmo::parseName("name");
  ASSERT_TRUE(parts.has_value());
  EXPECT_EQ(50, parts->priority);
  EXPECT_EQ(731, parts->task);
  EXPECT_EQ(-2, parts->relativePriority);
  EXPECT_EQ("20250303140509", parts->created);
  EXPECT_EQ("J12", parts->job);
  EXPECT_EQ("0", parts->subJob);
  EXPECT_EQ("sh", parts->type);
}

TEST_F(VelmoHppTest, WhatIsNotATaskNameHasNoParts) {
  EXPECT_FALSE(velmo::parseName("a name\0"s).has_value());
  library.parseName = [](auto, auto) { return VELMO_INVALID_ARGUMENT; };
  EXPECT_FALSE(velmo::parseName("name").has_value());
}

TEST_F(VelmoHppTest, NameThatCannotBeParsedForAnotherReasonIsAnError) {
  library.parseName = [](auto, auto) { return VELMO_OUT_OF_MEMORY; };
  EXPECT_EQ("7: out of memory", thrownBy([] { velmo::parseName("name"); }));
}

TEST_F(VelmoHppTest, SubJobOfAChildIsReturned) {
  library.childSubJob = [](const char* parent, const char* suffix, char* subJob, auto) {
    EXPECT_STREQ("3_x", parent);
    EXPECT_STREQ("y", suffix);
    std::strcpy(subJob, "4_x_y");
    return VELMO_OK;
  };
  EXPECT_EQ("4_x_y", velmo::childSubJob("3_x", "y"));
}

// --- texts with a NUL ---

TEST_F(VelmoHppTest, TextWithANulIsRefusedBeforeTheCall) {
  const auto called = [](auto...) {
    ADD_FAILURE() << "called";
    return VELMO_OK;
  };
  library.submit = called;
  library.findJob = called;
  library.childSubJob = called;
  library.check = called;
  library.cancel = called;
  library.parseName = called;
  library.open = called;
  const std::string nul = "a\0b"s;
  const auto refusal = [](const std::string& name) {
    return "1: " + name + " contains a NUL byte";
  };

  const std::vector<std::pair<std::string Task::*, const char*>> texts{
      {&Task::priorityClass, "priority_class"},
      {&Task::command, "command"},
      {&Task::type, "type"},
      {&Task::adjustment, "adjustment"},
      {&Task::job, "job"},
      {&Task::subJob, "sub_job"},
      {&Task::information, "information"}};
  for (const auto& [member, name] : texts) {
    Task wrong = task;
    wrong.*member = nul;
    EXPECT_EQ(refusal(name), thrownBy([&] { installation.submit(wrong, 1s); }));
    EXPECT_EQ(refusal(name), thrownBy([&] { installation.check(&wrong); }));
  }

  const std::vector<std::pair<std::string Settings::*, const char*>> settings{
      {&Settings::var, "VAR"},
      {&Settings::tmp, "TMP"},
      {&Settings::data, "DATA"},
      {&Settings::lockVar, "LOCK_VAR"},
      {&Settings::velmoHome, "VELMO_HOME"},
      {&Settings::conf, "CONF"},
      {&Settings::sharedTaskId, "SHARED_VELMO_TASKID"},
      {&Settings::semaphoreTaskId, "SEMAPHORE_VELMO_TASKID"}};
  for (const auto& [member, name] : settings) {
    Settings wrong;
    wrong.*member = nul;
    EXPECT_EQ(refusal(name), thrownBy([&] { Installation{wrong}; }));
  }

  const auto find = [&](const char* directory, const Job& job) {
    return thrownBy([&] { installation.findJob(directory, "key", job, 1s); });
  };
  EXPECT_EQ(refusal("user"), find("/jobs", {"", nul, ""}));
  EXPECT_EQ(refusal("name"), find("/jobs", {"", "", nul}));
  EXPECT_EQ(refusal("directory"), thrownBy([&] { installation.findJob(nul, "key", {}, 1s); }));
  EXPECT_EQ(refusal("key"), thrownBy([&] { installation.findJob("/jobs", nul, {}, 1s); }));
  EXPECT_EQ(refusal("name"), thrownBy([&] { installation.cancel(nul); }));
  EXPECT_EQ(refusal("parent"), thrownBy([&] { velmo::childSubJob(nul, ""); }));
  EXPECT_EQ(refusal("suffix"), thrownBy([&] { velmo::childSubJob("", nul); }));
}

}  // namespace
