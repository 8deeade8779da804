#include "CreateTaskFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "CreateTaskFileTest.h"
#include "IMException.h"

namespace {

using brix::imutils::IMAssertionException;
using brix::imutils::IMIOException;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using velmo::test::CreateTaskFileTest;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;

// --- the name ---

TEST_F(CreateTaskFileTest, NameHasItsEightPartsInOrder) {
  installation.counter.setValue(730);
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", "sh", nullptr, "J12", "0", nullptr, 2));
  EXPECT_THAT(installation.queue(),
              ElementsAre("0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh"));
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(CreateTaskFileTest, MissingCommandTypeAndSubJobBecomeShAnd0) {
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0));
  EXPECT_THAT(installation.queue(), ElementsAre(firstName));
}

TEST_F(CreateTaskFileTest, DefaultsAreWrittenIntoTheCallersRecord) {
  TaskFileDescriptor task{"NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0};
  EXPECT_EQ(firstName, creator.getFileName(task));
  EXPECT_STREQ("sh", task.commandType);
  EXPECT_STREQ("0", task.subJobId);
}

TEST_F(CreateTaskFileTest, EmptyCommandTypeAndSubJobAreUsedAsTheyAre) {
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", "", nullptr, "J1", "", nullptr, 0));
  EXPECT_THAT(installation.queue(),
              ElementsAre("0050.20250303140509.J1.S.T20250303140509-1.R0000."));
}

TEST_F(CreateTaskFileTest, TimeIsTakenOnceAndStandsInTheNameTwice) {
  long looks = 0;
  platform().time.setFake([&looks](time_t*) { return kNow + 100 * looks++; });
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_EQ(1, looks);
  EXPECT_THAT(installation.queue(), ElementsAre(firstName));
}

TEST_F(CreateTaskFileTest, TimeIsTakenBeforeTheIdentifiersAreWaitedFor) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  platform().nanosleep.setFake([this](const timespec*, timespec*) {
    clock.advance(20);
    std::filesystem::remove(installation.directory.path("lock/semaphore_velmo_jobid"));
    return 0;
  });
  platform().semop.setFake([this](int id, sembuf* op, size_t count) {
    clock.advance(20);
    return platform().semop.real(id, op, count);
  });
  EXPECT_EQ(0, submitWithNewJob());
  EXPECT_THAT(installation.queue(),
              ElementsAre("0050.20250303140509.J0.S0.T20250303140509-1.R0000.sh"));
}

TEST_F(CreateTaskFileTest, EachNameTakesANewTaskIdentifier) {
  TaskFileDescriptor task{"NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0};
  const std::string first = creator.getFileName(task);
  const std::string second = creator.getFileName(task);
  EXPECT_EQ(firstName, first);
  EXPECT_EQ("0050.20250303140509.J1.S0.T20250303140509-2.R0000.sh", second);
}

TEST_F(CreateTaskFileTest, GetFileNameWithoutPriorityTypeThrows) {
  TaskFileDescriptor task{nullptr, "true", nullptr, nullptr, "J1", nullptr, nullptr, 0};
  EXPECT_THROW(creator.getFileName(task), IMAssertionException);
}

// --- the priority map ---

TEST_F(CreateTaskFileTest, UnknownPriorityIsQueuedAs9999AndLoggedAtEachCall) {
  EXPECT_EQ(0, submit("NoSuch"));
  EXPECT_EQ(0, submit("NoSuch"));
  EXPECT_THAT(installation.queue(), Each(StartsWith("9999.")));
  EXPECT_THAT(log.cycles(), ElementsAre(line("Velmo unknown priority:NoSuch"),
                                        line("Velmo unknown priority:NoSuch")));
}

TEST_F(CreateTaskFileTest, UnknownAdjustmentIsLoggedAndKeepsThePriority) {
  EXPECT_EQ(0, submit("NORMAL", "NoSuch"));
  EXPECT_EQ(0, submit("BEYOND", "NoSuch"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("0050."), StartsWith("12000.")));
  EXPECT_THAT(log.cycles(), ElementsAre(line("Velmo unknown delta priority:NoSuch"),
                                        line("Velmo unknown delta priority:NoSuch")));
}

TEST_F(CreateTaskFileTest, AdjustmentIsAppliedToThePriority) {
  EXPECT_EQ(0, submit("NORMAL", "UP"));
  EXPECT_EQ(0, submit("LOW", "DOWN"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("0000."), StartsWith("0070.")));
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(CreateTaskFileTest, UnknownPriorityIsLoggedBeforeTheIdentifiersAreGenerated) {
  std::vector<std::string> linesBefore;
  platform().open.setFake([&](const char* path, int flags, mode_t mode) {
    linesBefore = log.lines();
    return platform().open.real(path, flags, mode);
  });
  EXPECT_EQ(0, createTaskFile("NoSuch", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_THAT(linesBefore, ElementsAre("Velmo unknown priority:NoSuch"));
}

TEST_F(CreateTaskFileTest, ConfFileIsLoadedSecondAndOverrides) {
  installation.writeConfPriorities("NORMAL=60\nEXTRA=70\n");
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_EQ(0, submit("EXTRA"));
  EXPECT_EQ(0, submit("LOW"));
  EXPECT_THAT(installation.queue(),
              ElementsAre(StartsWith("0005."), StartsWith("0060."), StartsWith("0070.")));
}

TEST_F(CreateTaskFileTest, PriorityMapIsNeverLoadedAgain) {
  EXPECT_TRUE(creator.createPriorityMap());
  installation.writeHomePriorities("NORMAL=60\n");
  installation.writeConfPriorities("NORMAL=70\n");
  EXPECT_TRUE(creator.createPriorityMap());
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("0050.")));
}

TEST_F(CreateTaskFileTest, ExceptionFromTheHomeFileIsLoggedAndTheConfFileStillLoaded) {
  const std::string homeFile = installation.directory.path("home/priorities.cfg");
  installation.writeConfPriorities("NORMAL=60\n");
  platform().fopen.setFake([&homeFile](const char* path, const char* mode) -> FILE* {
    if (path == homeFile) {
      throw IMIOException(5, "no");
    }
    return platform().fopen.real(path, mode);
  });
  EXPECT_TRUE(creator.createPriorityMap());
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("No file in CreateTaskFile::createPriorityMap(), :" + homeFile)));
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("0060.")));
}

std::string logicErrorOf(const CreateTaskFile& creator) {
  try {
    creator.createPriorityMap();
  } catch (const std::logic_error& error) {
    return error.what();
  }
  return "no logic error";
}

TEST_F(CreateTaskFileTest, UnsetConfThrowsAtTheFirstLoadOnlyAndLeavesTheMapEmpty) {
  installation.environment.unset("CONF");
  EXPECT_EQ("basic_string::_M_construct null not valid", logicErrorOf(creator));
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("9999.")));
  EXPECT_THAT(log.lines(), ElementsAre("Velmo unknown priority:NORMAL"));
}

TEST_F(CreateTaskFileTest, UnsetVelmoHomeThrowsAtTheFirstLoadOnlyAndLeavesTheMapEmpty) {
  installation.writeConfPriorities("NORMAL=60\n");
  installation.environment.unset("VELMO_HOME");
  EXPECT_EQ("basic_string::_M_construct null not valid", logicErrorOf(creator));
  installation.environment.set("VELMO_HOME", installation.directory.path("home"));
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("9999.")));
}

TEST_F(CreateTaskFileTest, LogicErrorLeavesCreateTaskFileBeforeAnythingIsDone) {
  installation.environment.unset("CONF");
  TaskFileDescriptor task{"NORMAL", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0};
  EXPECT_THROW(creator.createFile(task), std::logic_error);
  EXPECT_EQ(0, installation.counter.value());
  EXPECT_EQ(nullptr, task.commandType);
}

// --- the contents ---

TEST_F(CreateTaskFileTest, CommandAloneIsAOneLineFile) {
  EXPECT_EQ(0, submitCommand("echo hello"));
  EXPECT_EQ("echo hello\n", installation.onlyTask());
}

TEST_F(CreateTaskFileTest, JobInformationIsASecondLine) {
  EXPECT_EQ(0, submitCommand("echo hello", "#1USE=u"));
  EXPECT_EQ("echo hello\n#1USE=u\n", installation.onlyTask());
}

TEST_F(CreateTaskFileTest, EmptyCommandAndEmptyJobInformationAreEmptyLines) {
  EXPECT_EQ(0, submitCommand("", ""));
  EXPECT_EQ("\n\n", installation.onlyTask());
}

TEST_F(CreateTaskFileTest, GetTaskContentsIsTheTextBeforeFormatting) {
  TaskFileDescriptor task{"NORMAL", "a %% b", nullptr, nullptr, nullptr, nullptr, "c%d", 0};
  EXPECT_EQ("a %% b\nc%d\n", creator.getTaskContents(task));
  task.command = nullptr;
  EXPECT_EQ("", creator.getTaskContents(task));
}

TEST_F(CreateTaskFileTest, PairsOfPercentSignsAreFoldedInCommandAndJobInformation) {
  EXPECT_EQ(0, submitCommand("100%% %s", "50%%"));
  EXPECT_EQ("100% %s\n50%\n", installation.onlyTask());
}

TEST_F(CreateTaskFileTest, CommandOfAnySizeIsWrittenWholeAndFolded) {
  for (const std::size_t size : {0U, 8183U, 8184U, 8185U, 8186U, 100000U}) {
    const std::string padding(size, 'x');
    EXPECT_EQ(0, submitCommand(("100%% %s" + padding).c_str(), "50%%"));
    EXPECT_EQ("100% %s" + padding + "\n50%\n", installation.onlyTask());
    std::filesystem::remove(queuePath(installation.queue().front()));
    EXPECT_EQ(0, submitCommand(("date +%s" + padding).c_str()));
    EXPECT_EQ("date +%s" + padding + "\n", installation.onlyTask());
    std::filesystem::remove(queuePath(installation.queue().front()));
  }
}

// --- the file ---

TEST_F(CreateTaskFileTest, FileIsWrittenAsideAndMoved) {
  std::vector<std::string> steps;
  platform().fopen.setFake([&steps](const char* path, const char* mode) {
    steps.push_back(std::string("fopen ") + mode + " " + path);
    return platform().fopen.real(path, mode);
  });
  platform().access.setFake([&steps](const char* path, int mode) {
    EXPECT_EQ(F_OK, mode);
    steps.push_back(std::string("access ") + path);
    return platform().access.real(path, mode);
  });
  platform().rename.setFake([&](const char* from, const char* to) {
    EXPECT_EQ("true\n", readFile(from));
    steps.push_back(std::string("rename ") + from + " " + to);
    return platform().rename.real(from, to);
  });
  creator.createPriorityMap();
  steps.clear();
  EXPECT_EQ(0, submit("NORMAL"));
  const std::string from = temporaryPath(firstName);
  const std::string to = queuePath(firstName);
  EXPECT_THAT(steps, ElementsAre("fopen wb " + from, "access " + to, "rename " + from + " " + to));
  EXPECT_THAT(installation.temporary(), IsEmpty());
}

TEST_F(CreateTaskFileTest, SubmissionLeaksNoDescriptorAndNoSegment) {
  EXPECT_EQ(0, submit("NORMAL"));
  const std::size_t before = openDescriptors();
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(0, submitWithNewJob());
  }
  EXPECT_EQ(before, openDescriptors());
  EXPECT_EQ(0U, installation.counter.attachments());
}

TEST_F(CreateTaskFileTest, MissingPriorityTypeIsRefused) {
  EXPECT_EQ(1, createTaskFile(nullptr, "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_THAT(log.cycles(), ElementsAre(line("Priority type must be given!\n")));
  EXPECT_EQ(0, installation.counter.value());
}

TEST_F(CreateTaskFileTest, MissingCommandIsRefusedWithTheTextThatSaysType) {
  EXPECT_EQ(1, createTaskFile("NORMAL", nullptr, "sh", nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_THAT(log.cycles(), ElementsAre(line("Command type must be given!\n")));
  EXPECT_EQ(0, installation.counter.value());
}

TEST_F(CreateTaskFileTest, MissingPriorityTypeIsTestedBeforeTheCommand) {
  EXPECT_EQ(1, createTaskFile(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_THAT(log.lines(), ElementsAre("Priority type must be given!\n"));
}

TEST_F(CreateTaskFileTest, RefusedCallDoesNotNeedThePriorityMap) {
  installation.environment.unset("CONF");
  EXPECT_EQ(1, createTaskFile(nullptr, "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0));
}

TEST_F(CreateTaskFileTest, NoTaskIdentifierGivesMinus1AndWritesNothing) {
  installation.environment.unset("SHARED_VELMO_TASKID");
  EXPECT_EQ(-1, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), IsEmpty());
  EXPECT_THAT(installation.temporary(), IsEmpty());
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("createTaskFile getenv(SHARED_VELMO_TASKID) is NULL")));
}

TEST_F(CreateTaskFileTest, TemporaryFileThatCannotBeCreatedIsLoggedWithItsError) {
  std::filesystem::remove(installation.directory.path("tmp"));
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("File cannot be created: " + temporaryPath(firstName) + "\n"),
                          line("Errno: 2 Strerror: No such file or directory\n")));
  EXPECT_THAT(installation.queue(), IsEmpty());
}

TEST_F(CreateTaskFileTest, NameThatIsTooLongForTheFileSystemIsLogged) {
  const std::string job(300, 'J');
  EXPECT_EQ(1,
            createTaskFile("NORMAL", "true", nullptr, nullptr, job.c_str(), nullptr, nullptr, 0));
  EXPECT_THAT(log.lines(), ElementsAre("File cannot be created: " +
                                           temporaryPath("0050.20250303140509." + job +
                                                         ".S0.T20250303140509-1.R0000.sh") +
                                           "\n",
                                       "Errno: 36 Strerror: File name too long\n"));
}

TEST_F(CreateTaskFileTest, FileOfThatNameInTheQueueIsKeptAndTheTemporaryOneStays) {
  installation.directory.writeFile("var/taskqueue/" + firstName, "first\n");
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.cycles(), ElementsAre(line("CreateTaskFile error: " + queuePath(firstName) +
                                             " already existed! (possibly same task ID)\n")));
  EXPECT_EQ("first\n", installation.onlyTask());
  EXPECT_EQ("true\n", readFile(temporaryPath(firstName)));
}

TEST_F(CreateTaskFileTest, SecondOfTwoWritersOfOneNameIsRefused) {
  EXPECT_EQ(0, submitCommand("first"));
  installation.counter.setValue(0);
  EXPECT_EQ(1, submitCommand("second"));
  EXPECT_EQ("first\n", installation.onlyTask());
  EXPECT_THAT(installation.temporary(), ElementsAre(firstName));
}

TEST_F(CreateTaskFileTest, FailedMoveIsLoggedAndTheTemporaryFileStays) {
  std::filesystem::remove(installation.directory.path("var/taskqueue"));
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(
      log.cycles(),
      ElementsAre(line("CreateTaskFile error: couldn't rename file: " + temporaryPath(firstName) +
                       " to file " + queuePath(firstName) + "\n")));
  EXPECT_EQ("true\n", readFile(temporaryPath(firstName)));
}

TEST_F(CreateTaskFileTest, UnsetTmpReadsAsNullTextAndFailsAsAMissingDirectory) {
  installation.environment.unset("TMP");
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.lines(), ElementsAre("File cannot be created: (null)/" + firstName + "\n",
                                       "Errno: 2 Strerror: No such file or directory\n"));
}

TEST_F(CreateTaskFileTest, UnsetVarReadsAsNullTextAndFailsAtTheMove) {
  installation.environment.unset("VAR");
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.lines(), ElementsAre("CreateTaskFile error: couldn't rename file: " +
                                       temporaryPath(firstName) + " to file (null)/taskqueue/" +
                                       firstName + "\n"));
}

TEST_F(CreateTaskFileTest, VarIsReadAtEveryCall) {
  EXPECT_EQ(0, submit("NORMAL"));
  installation.directory.makeDirectory("other/taskqueue");
  installation.environment.set("VAR", installation.directory.path("other"));
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_EQ(1U, velmo::test::namesIn(installation.directory.path("other/taskqueue")).size());
}

TEST_F(CreateTaskFileTest, TmpIsReadAtEveryCall) {
  EXPECT_EQ(0, submit("NORMAL"));
  installation.environment.set("TMP", installation.directory.path("missing"));
  EXPECT_EQ(1, submit("NORMAL"));
}

// The platform may return each text in the same memory.
TEST_F(CreateTaskFileTest, TextOfAVariableIsUsedBeforeTheNextIsRead) {
  std::array<char, 1024> memory{};
  platform().getenv.setFake([&memory](const char* name) -> char* {
    const char* text = platform().getenv.real(name);
    if (text == nullptr) {
      return nullptr;
    }
    std::snprintf(memory.data(), memory.size(), "%s", text);
    return memory.data();
  });
  EXPECT_EQ(0, submitWithNewJob());
  EXPECT_EQ("true\n", installation.onlyTask());
  EXPECT_THAT(log.lines(), IsEmpty());
}

// --- child tasks ---

TEST_F(CreateTaskFileTest, ChildWithoutParentSubJobGets0AndNoSuffix) {
  EXPECT_EQ(0, createChildTask("NORMAL", "true", nullptr, nullptr, "J1", nullptr, "y", nullptr, 0));
  EXPECT_THAT(installation.queue(), ElementsAre(firstName));
}

TEST_F(CreateTaskFileTest, ParentWithoutUnderscoreThrowsOutOfRange) {
  for (const std::string parent : {"abc", "12", ""}) {
    try {
      createChildTask("NORMAL", "true", nullptr, nullptr, "J1", parent.c_str(), "k", nullptr, 0);
      ADD_FAILURE() << parent;
    } catch (const std::out_of_range& error) {
      EXPECT_EQ(
          "basic_string::substr: __pos (which is 18446744073709551615) > this->size() (which "
          "is " +
              std::to_string(parent.size()) + ")",
          error.what());
    }
  }
  EXPECT_THAT(installation.queue(), IsEmpty());
  EXPECT_EQ(0, installation.counter.value());
}

TEST_F(CreateTaskFileTest, ParentIsSplitBeforeAnythingElseIsLookedAt) {
  EXPECT_THROW(
      createChildTask(nullptr, nullptr, nullptr, nullptr, nullptr, "abc", nullptr, nullptr, 0),
      std::out_of_range);
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(CreateTaskFileTest, ChildPassesItsOtherArgumentsOn) {
  EXPECT_EQ(0, createChildTask("LOW", "echo child", "java", "UP", "J9", "1_a", "b", "info", 33));
  EXPECT_THAT(installation.queue(),
              ElementsAre("0025.20250303140509.J9.S2_a_b.T20250303140509-1.R0033.java"));
  EXPECT_EQ("echo child\ninfo\n", installation.onlyTask());
}

TEST_F(CreateTaskFileTest, ChildReturnsWhatCreateTaskFileReturns) {
  EXPECT_EQ(1, createChildTask(nullptr, "c", nullptr, nullptr, "J1", "1_", nullptr, nullptr, 0));
  installation.environment.unset("SEMAPHORE_VELMO_TASKID");
  EXPECT_EQ(-1, createChildTask("LOW", "c", nullptr, nullptr, "J1", "1_", nullptr, nullptr, 0));
}

}  // namespace
