#include "CreateTaskFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CapturedLog.h"
#include "IMException.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace {

using brix::imutils::IMAssertionException;
using brix::imutils::IMIOException;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;
using velmo::test::CapturedLog;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::LogCycle;
using velmo::test::MovedClock;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::TaskInstallation;
using velmo::test::TestSegment;
using velmo::test::TestSemaphore;
using velmo::test::UnprivilegedFiles;
using velmo::test::UnusedKey;

constexpr time_t kNow = 1741007469;  // kTimestamp in the time zone of the fixture, UTC+00:54
constexpr const char* kTimestamp = "20250303140509";

LogCycle line(const std::string& text) {
  return LogCycle{"CreateTaskFile", 1, 152, 3, text};
}

// The priority map is loaded once in a process: every test has to be a process of its own, as ctest
// runs them.
class CreateTaskFileTest : public testing::Test {
 protected:
  CreateTaskFileTest() {
    installation.environment.set("TZ", "EAST-0:54");
    tzset();
    installation.writeHomePriorities(
        "NORMAL=50\nHIGH=9990\nLOW=5\nBEYOND=12000\nBELOW=-12\nTEXT=abc\nTRAILING=7x\n"
        "UP=20\nDOWN=-20\nNOTHING=0\nWORD=xyz\nLARGEST=2147483647\nSMALLEST=-2147483648\n");
  }

  // Submits with the given class and adjustment, everything else plain.
  int submit(const char* priorityType, const char* deltaType = nullptr) {
    return createTaskFile(priorityType, "true", "sh", deltaType, "J1", "0", nullptr, 0);
  }

  int submitCommand(const char* command, const char* jobInfo = nullptr) {
    return createTaskFile("NORMAL", command, "sh", nullptr, "J1", "0", jobInfo, 0);
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

TEST_F(CreateTaskFileTest, RelativePriorityIsPaddedAndUsedUnchanged) {
  const std::vector<std::pair<int, std::string>> rows{
      {0, "R0000"},
      {7, "R0007"},
      {9999, "R9999"},
      {12345, "R12345"},
      {-5, "R-005"},
      {INT_MAX, "R2147483647"},
      {INT_MIN, "R-2147483648"},
  };
  for (const auto& [relative, part] : rows) {
    TaskFileDescriptor task{"NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, relative};
    EXPECT_THAT(creator.getFileName(task), EndsWith("." + part + ".sh"));
  }
}

TEST_F(CreateTaskFileTest, TimestampIsTheLocalTimeInFourteenDigits) {
  const std::vector<std::pair<time_t, std::string>> rows{
      {0, "19700101005400"},          {946684799 - 54 * 60, "19991231235959"},
      {1709164800, "20240229005400"}, {-3240, "19700101000000"},
      {-1, "19700101005359"},
  };
  for (const auto& [now, timestamp] : rows) {
    clock.set(now);
    TaskFileDescriptor task{"NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0};
    const std::string name = creator.getFileName(task);
    EXPECT_THAT(name, StartsWith("0050." + timestamp + ".J1.S0.T" + timestamp + "-"));
  }
}

TEST_F(CreateTaskFileTest, TimeBeyondTheCalendarStillGivesAName) {
  for (const time_t now : {std::numeric_limits<time_t>::max(), std::numeric_limits<time_t>::min(),
                           time_t{67768036191676799}}) {
    clock.set(now);
    TaskFileDescriptor task{"NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0};
    EXPECT_THAT(creator.getFileName(task), EndsWith(".R0000.sh")) << now;
  }
}

TEST_F(CreateTaskFileTest, TimeThatHasNoLocalTimeReadsAsTheEmptyRecord) {
  clock.set(std::numeric_limits<time_t>::max());
  TaskFileDescriptor task{"NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0};
  EXPECT_EQ("0050.19000100000000.J1.S0.T19000100000000-1.R0000.sh", creator.getFileName(task));
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
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0));
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

TEST_F(CreateTaskFileTest, LongTextsAreNotCut) {
  const std::string longText(3000, 'x');
  TaskFileDescriptor task{"NORMAL",         "true",           longText.c_str(), nullptr,
                          longText.c_str(), longText.c_str(), nullptr,          0};
  EXPECT_EQ(
      "0050.20250303140509." + longText + ".S" + longText + ".T20250303140509-1.R0000." + longText,
      creator.getFileName(task));
}

// --- the priority ---

TEST_F(CreateTaskFileTest, UnknownPriorityIsQueuedAs9999AndLoggedAtEachCall) {
  EXPECT_EQ(0, submit("NoSuch"));
  EXPECT_EQ(0, submit("NoSuch"));
  EXPECT_THAT(installation.queue(), Each(StartsWith("9999.")));
  EXPECT_THAT(log.cycles(), ElementsAre(line("Velmo unknown priority:NoSuch"),
                                        line("Velmo unknown priority:NoSuch")));
}

TEST_F(CreateTaskFileTest, EmptyPriorityNameIsUnknown) {
  EXPECT_EQ(0, submit(""));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("9999.")));
  EXPECT_THAT(log.lines(), ElementsAre("Velmo unknown priority:"));
}

TEST_F(CreateTaskFileTest, UnknownPriorityIgnoresTheAdjustment) {
  EXPECT_EQ(0, submit("NoSuch", "DOWN"));
  EXPECT_EQ(0, submit("NoSuch", "NoSuchEither"));
  EXPECT_THAT(installation.queue(), Each(StartsWith("9999.")));
  EXPECT_THAT(log.lines(), Each(std::string("Velmo unknown priority:NoSuch")));
}

TEST_F(CreateTaskFileTest, UnknownAdjustmentIsLoggedAndKeepsThePriority) {
  EXPECT_EQ(0, submit("NORMAL", "NoSuch"));
  EXPECT_EQ(0, submit("BEYOND", "NoSuch"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("0050."), StartsWith("12000.")));
  EXPECT_THAT(log.cycles(), ElementsAre(line("Velmo unknown delta priority:NoSuch"),
                                        line("Velmo unknown delta priority:NoSuch")));
}

TEST_F(CreateTaskFileTest, EmptyAdjustmentNameIsLookedUpAndUnknown) {
  EXPECT_EQ(0, submit("NORMAL", ""));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("0050.")));
  EXPECT_THAT(log.lines(), ElementsAre("Velmo unknown delta priority:"));
}

TEST_F(CreateTaskFileTest, EffectivePriorityFollowsClassAndAdjustment) {
  struct Row {
    const char* priority;
    const char* delta;
    std::string prefix;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"NORMAL", nullptr, "0050.", "the class alone"},
      {"NORMAL", "UP", "0070.", "raised"},
      {"NORMAL", "DOWN", "0030.", "lowered"},
      {"NORMAL", "NORMAL", "0100.", "classes and adjustments are of one map"},
      {"HIGH", "UP", "9999.", "clamped above 9999"},
      {"LOW", "DOWN", "0000.", "clamped below 0"},
      {"BEYOND", nullptr, "12000.", "a class beyond the range is used as it stands"},
      {"BELOW", nullptr, "-012.", "a class below the range is used as it stands"},
      {"BEYOND", "NOTHING", "12000.", "an adjustment of 0 leaves it unclamped"},
      {"BELOW", "NOTHING", "-012.", "an adjustment of 0 leaves it unclamped"},
      {"BEYOND", "DOWN", "9999.", "any other adjustment clamps"},
      {"BELOW", "UP", "0008.", "an adjustment may lead into the range"},
      {"BELOW", "DOWN", "0000.", "any other adjustment clamps"},
      {"TEXT", nullptr, "0000.", "a class that is no number is 0"},
      {"TEXT", "UP", "0020.", "and is adjusted from there"},
      {"TRAILING", nullptr, "0007.", "text behind the number does not count"},
      {"NORMAL", "WORD", "0050.", "an adjustment that is no number is 0"},
      {"LARGEST", nullptr, "2147483647.", "largest number"},
      {"LARGEST", "LARGEST", "9999.", "a sum beyond 32 bits is still above 9999"},
      {"SMALLEST", "SMALLEST", "0000.", "a sum below 32 bits is still below 0"},
  };
  for (const Row& row : rows) {
    TaskFileDescriptor task{row.priority, "true", nullptr, row.delta, "J1", nullptr, nullptr, 0};
    EXPECT_THAT(creator.getFileName(task), StartsWith(row.prefix)) << row.reason;
  }
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(CreateTaskFileTest, GetFileNameWithoutPriorityTypeThrows) {
  TaskFileDescriptor task{nullptr, "true", nullptr, nullptr, "J1", nullptr, nullptr, 0};
  EXPECT_THROW(creator.getFileName(task), IMAssertionException);
}

// --- the priority map ---

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

TEST_F(CreateTaskFileTest, MissingPriorityFilesAreNotLogged) {
  std::filesystem::remove(installation.directory.path("home/priorities.cfg"));
  EXPECT_TRUE(creator.createPriorityMap());
  EXPECT_THAT(log.cycles(), IsEmpty());
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("9999.")));
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

TEST_F(CreateTaskFileTest, ExceptionFromTheConfFileIsSwallowed) {
  const std::string confFile = installation.directory.path("conf/priorities.cfg");
  platform().fopen.setFake([&confFile](const char* path, const char* mode) -> FILE* {
    if (path == confFile) {
      throw IMIOException(5, "no");
    }
    return platform().fopen.real(path, mode);
  });
  EXPECT_TRUE(creator.createPriorityMap());
  EXPECT_THAT(log.cycles(), IsEmpty());
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("0050.")));
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

TEST_F(CreateTaskFileTest, PairOfPercentSignsIsWrittenAsOneAndAnyOtherAsItStands) {
  const std::vector<std::pair<std::string, std::string>> rows{
      {"100%%", "100%"},
      {"100%", "100%"},
      {"%%%", "%%"},
      {"%%%%", "%%"},
      {"%%s", "%s"},
      {"date +%s", "date +%s"},
      {"%n%n%n%s%s%s%d%*d%1$s", "%n%n%n%s%s%s%d%*d%1$s"},
      {"%m", "%m"},
      {"%-%", "%-%"},
      {"% %", "% %"},
      {"a%%b%%c", "a%b%c"},
  };
  for (const auto& [command, written] : rows) {
    EXPECT_EQ(0, submitCommand(command.c_str(), command.c_str()));
    EXPECT_EQ(written + "\n" + written + "\n", installation.onlyTask()) << command;
    std::filesystem::remove(queuePath(installation.queue().front()));
  }
}

TEST_F(CreateTaskFileTest, PercentSignsOnBothSidesOfALineEndAreNoPair) {
  EXPECT_EQ(0, submitCommand("a%", "%b"));
  EXPECT_EQ("a%\n%b\n", installation.onlyTask());
}

TEST_F(CreateTaskFileTest, LongContentsAreWrittenWhole) {
  const std::string command(1000000, 'x');
  EXPECT_EQ(0, submitCommand(command.c_str()));
  EXPECT_EQ(command + "\n", installation.onlyTask());
}

// --- writing ---

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
    EXPECT_EQ(0, createTaskFile("NORMAL", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0));
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

TEST_F(CreateTaskFileTest, TemporaryDirectoryWithoutPermissionIsLogged) {
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.lines(), testing::Contains("File cannot be created: " +
                                             temporaryPath("9999" + firstName.substr(4)) + "\n"));
  EXPECT_EQ("Errno: 13 Strerror: Permission denied\n", log.lines().back());
}

TEST_F(CreateTaskFileTest, PriorityFilesThatCannotBeReadAreNotLogged) {
  const UnprivilegedFiles unprivileged;
  EXPECT_TRUE(creator.createPriorityMap());
  EXPECT_THAT(log.cycles(), IsEmpty());
  TaskFileDescriptor task{"NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0};
  EXPECT_THAT(creator.getFileName(task), StartsWith("9999."));
}

TEST_F(CreateTaskFileTest, DirectoryInPlaceOfTheTemporaryFileIsLogged) {
  installation.directory.makeDirectory("tmp/" + firstName);
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.lines(), ElementsAre("File cannot be created: " + temporaryPath(firstName) + "\n",
                                       "Errno: 21 Strerror: Is a directory\n"));
  EXPECT_THAT(installation.temporary(), ElementsAre(firstName));
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

TEST_F(CreateTaskFileTest, SlashInAnIdentifierLeadsIntoAMissingDirectory) {
  EXPECT_EQ(1, createTaskFile("NORMAL", "true", nullptr, nullptr, "a/b", nullptr, nullptr, 0));
  EXPECT_THAT(log.lines(), ElementsAre(StartsWith("File cannot be created: "),
                                       "Errno: 2 Strerror: No such file or directory\n"));
}

TEST_F(CreateTaskFileTest, LinkPlantedInTmpIsWrittenThrough) {
  const std::string victim = installation.directory.writeFile("victim", "precious");
  std::filesystem::create_symlink(victim, temporaryPath(firstName));
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_EQ("true\n", readFile(victim));
}

TEST_F(CreateTaskFileTest, FilePlantedInTmpBecomesTheTaskWithItsPermissions) {
  const std::string planted = installation.directory.writeFile("tmp/" + firstName, "");
  chmod(planted.c_str(), 0666);
  struct stat before {};
  ASSERT_EQ(0, stat(planted.c_str(), &before));
  EXPECT_EQ(0, submit("NORMAL"));
  struct stat after {};
  ASSERT_EQ(0, stat(queuePath(firstName).c_str(), &after));
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mode, after.st_mode);
}

TEST_F(CreateTaskFileTest, FullDiskRemovesTheIncompleteFileAndMovesNothing) {
  std::filesystem::create_symlink("/dev/full", temporaryPath(firstName));
  const std::size_t before = openDescriptors();
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("File cannot be created: " + temporaryPath(firstName) + "\n"),
                          line("Errno: 28 Strerror: No space left on device\n")));
  EXPECT_THAT(installation.temporary(), IsEmpty());
  EXPECT_THAT(installation.queue(), IsEmpty());
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(CreateTaskFileTest, FileCutShortIsRemovedAndNotMoved) {
  creator.createPriorityMap();
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
  const rlimit small{5000, limit.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  const std::string command(100000, 'x');
  const int result = submitCommand(command.c_str());
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(1, result);
  EXPECT_THAT(log.lines(), ElementsAre("File cannot be created: " + temporaryPath(firstName) + "\n",
                                       "Errno: 27 Strerror: File too large\n"));
  EXPECT_THAT(installation.temporary(), IsEmpty());
  EXPECT_THAT(installation.queue(), IsEmpty());
}

TEST_F(CreateTaskFileTest, FileThatIsNotCreatedWithoutAnErrorNumberIsLoggedWithTheNumber0) {
  creator.createPriorityMap();
  platform().fopen.setFake([](const char* /*path*/, const char* /*mode*/) { return nullptr; });
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.lines(), ElementsAre("File cannot be created: " + temporaryPath(firstName) + "\n",
                                       "Errno: 0 Strerror: Success\n"));
  EXPECT_THAT(installation.queue(), IsEmpty());
}

TEST_F(CreateTaskFileTest, FailedCloseRemovesTheFileAndMovesNothing) {
  creator.createPriorityMap();
  platform().fclose.setFake([](FILE* stream) {
    platform().fclose.real(stream);
    errno = EDQUOT;
    return EOF;
  });
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(log.lines(), ElementsAre("File cannot be created: " + temporaryPath(firstName) + "\n",
                                       "Errno: 122 Strerror: Disk quota exceeded\n"));
  EXPECT_THAT(installation.temporary(), IsEmpty());
  EXPECT_THAT(installation.queue(), IsEmpty());
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

TEST_F(CreateTaskFileTest, FileThatArrivesBetweenTestAndMoveIsReplaced) {
  platform().access.setFake([this](const char* path, int mode) {
    const int result = platform().access.real(path, mode);
    installation.directory.writeFile("var/taskqueue/" + firstName, "in between\n");
    return result;
  });
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_EQ("true\n", installation.onlyTask());
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

TEST_F(CreateTaskFileTest, MoveAcrossFileSystemsFails) {
  platform().rename.setFake([](const char*, const char*) {
    errno = EXDEV;
    return -1;
  });
  EXPECT_EQ(1, submit("NORMAL"));
  EXPECT_THAT(installation.temporary(), ElementsAre(firstName));
  EXPECT_THAT(installation.queue(), IsEmpty());
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

// --- child tasks ---

TEST_F(CreateTaskFileTest, ChildSubJobIsTheParentsRaisedByOneWithTheSuffix) {
  struct Row {
    const char* parent;
    const char* suffix;
    std::string child;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"3_x", "y", "4_x_y", "number, tail, suffix"},
      {"2_abc", "k", "3_abc_k", "a longer tail"},
      {"_x", nullptr, "1_x", "an empty head counts as 0"},
      {"_", nullptr, "1_", "an underscore alone"},
      {"_", "", "1__", "an empty suffix still adds its underscore"},
      {"abc_x", "y", "1_x_y", "a head that is no number counts as 0"},
      {"7up_x", nullptr, "8_x", "text behind the number does not count"},
      {" 5_x", nullptr, "6_x", "white space first"},
      {"-3_x", nullptr, "-2_x", "a sign"},
      {"-1_x", nullptr, "0_x", "up to 0"},
      {"009_x", nullptr, "10_x", "decimal"},
      {"1_a_b", "c", "2_a_b_c", "the first underscore counts"},
      {"2147483647_x", nullptr, "-2147483648_x", "the sum is cut to 32 bits"},
      {"4294967295_x", nullptr, "0_x", "the sum is cut to 32 bits"},
      {"9223372036854775807_x", nullptr, "0_x", "the largest long wraps"},
      {"99999999999999999999_x", nullptr, "0_x", "beyond a long"},
      {"-99999999999999999999_x", nullptr, "1_x", "below a long"},
  };
  int task = 0;
  for (const Row& row : rows) {
    EXPECT_EQ(0, createChildTask("NORMAL", "true", nullptr, nullptr, "J1", row.parent, row.suffix,
                                 nullptr, 0));
    const std::string name = std::string("0050.") + kTimestamp + ".J1.S" + row.child + ".T" +
                             kTimestamp + "-" + std::to_string(++task) + ".R0000.sh";
    EXPECT_TRUE(exists(queuePath(name))) << row.reason << ": " << name;
  }
}

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

// --- the job identifier in the name ---

TEST_F(CreateTaskFileTest, MissingOrEmptyJobIdentifierIsGenerated) {
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", nullptr, nullptr, "", nullptr, nullptr, 0));
  EXPECT_THAT(installation.queue(),
              ElementsAre("0050.20250303140509.J0.S0.T20250303140509-1.R0000.sh",
                          "0050.20250303140509.J1.S0.T20250303140509-2.R0000.sh"));
}

TEST_F(CreateTaskFileTest, GivenJobIdentifierLeavesTheJobCounterAlone) {
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_FALSE(exists(installation.directory.path("data/velmo/jobid")));
}

TEST_F(CreateTaskFileTest, JobCounterThatCannotBeWrittenGivesEmptyjob) {
  std::filesystem::remove(installation.directory.path("data/velmo"));
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", nullptr, nullptr, "", nullptr, nullptr, 0));
  EXPECT_THAT(installation.queue(),
              ElementsAre("0050.20250303140509.EMPTYJOB.S0.T20250303140509-1.R0000.sh"));
  EXPECT_THAT(log.cycles(), ElementsAre(line("Job ID file cannot be created!\n"),
                                        line("Errno: 2 Strerror: No such file or directory\n")));
}

TEST_F(CreateTaskFileTest, JobCounterThatIsNotCreatedWithoutAnErrorNumberIsLoggedWithTheNumber0) {
  platform().fopen.setFake([](const char* /*path*/, const char* /*mode*/) { return nullptr; });
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(log.lines(),
              ElementsAre("Job ID file cannot be created!\n", "Errno: 0 Strerror: Success\n"));
}

TEST_F(CreateTaskFileTest, JobIdentifierIsDrawnBeforeTheTaskIdentifier) {
  installation.environment.unset("SHARED_VELMO_TASKID");
  EXPECT_EQ(-1, createTaskFile("NORMAL", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_EQ("0", installation.jobCounter());
}

// --- generateJobID ---

class JobIdentifierTest : public CreateTaskFileTest {
 protected:
  const std::string lockFile = installation.directory.path("lock/semaphore_velmo_jobid");
};

TEST_F(JobIdentifierTest, FreshInstallationBeginsWithJob0) {
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
  EXPECT_EQ("J1", creator.generateJobID());
  EXPECT_EQ("1", installation.jobCounter());
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(JobIdentifierTest, NumberFollowsTheOneInTheCounterFile) {
  struct Row {
    std::string before;
    std::string id;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"17", "J18", "plain"},
      {"17\n", "J18", "with a line end"},
      {"  17 x", "J18", "among other text"},
      {"-7", "J-6", "no lower bound"},
      {"-1", "J0", "up to 0"},
      {"999998", "J999999", "the last number"},
      {"999999", "J0", "starts again"},
      {"1000000", "J0", "beyond the last number"},
      {"2147483647", "J0", "largest int"},
      {"2147483648", "J-2147483647", "cut to 32 bits"},
      {"99999999999999999999", "J0", "reads as -1"},
  };
  for (const Row& row : rows) {
    installation.writeJobCounter(row.before);
    EXPECT_EQ(row.id, creator.generateJobID()) << row.reason;
    EXPECT_EQ(row.id.substr(1), installation.jobCounter()) << row.reason;
  }
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(JobIdentifierTest, CounterFileThatIsNoNumberIsLoggedAndGivesJob0) {
  for (const std::string contents : {"", "abc", "-", " \n"}) {
    log.clear();
    installation.writeJobCounter(contents);
    EXPECT_EQ("J0", creator.generateJobID()) << contents;
    EXPECT_EQ("0", installation.jobCounter()) << contents;
    EXPECT_THAT(log.cycles(), ElementsAre(line("Job ID file cannot be parsed\n")));
  }
}

TEST_F(JobIdentifierTest, CounterFileThatCannotBeOpenedStartsTheNumbersAgainWithoutALine) {
  for (const int error : {EACCES, EMFILE, ENOMEM}) {
    installation.writeJobCounter("41");
    platform().fopen.setFake([error](const char* path, const char* mode) -> FILE* {
      if (std::string(mode) == "rb" && std::filesystem::path(path).filename() == "jobid") {
        errno = error;
        return nullptr;
      }
      return platform().fopen.real(path, mode);
    });
    EXPECT_EQ("J0", creator.generateJobID()) << error;
    platform().fopen.setFake(nullptr);
    EXPECT_EQ("J1", creator.generateJobID()) << error;
  }
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(JobIdentifierTest, DirectoryInPlaceOfTheCounterGivesJob0EachTime) {
  installation.directory.makeDirectory("data/velmo/jobid");
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_THAT(log.lines(),
              ElementsAre("Job ID file cannot be parsed\n", "Job ID file cannot be parsed\n"));
}

TEST_F(JobIdentifierTest, CopyIsWrittenAndMovedUnderTheLock) {
  std::vector<std::string> steps;
  platform().fopen.setFake([&](const char* path, const char* mode) {
    EXPECT_TRUE(exists(lockFile));
    steps.push_back(std::string(mode) + " " + std::filesystem::path(path).filename().string());
    return platform().fopen.real(path, mode);
  });
  platform().rename.setFake([&](const char* from, const char* to) {
    EXPECT_TRUE(exists(lockFile));
    EXPECT_EQ("18", readFile(from));
    steps.push_back(std::filesystem::path(from).filename().string() + " to " +
                    std::filesystem::path(to).filename().string());
    return platform().rename.real(from, to);
  });
  installation.writeJobCounter("17");
  steps.clear();
  EXPECT_EQ("J18", creator.generateJobID());
  EXPECT_THAT(steps, testing::IsSupersetOf(
                         {"rb jobid", "wb jobid_tmp", "jobid_tmp to jobid", "rb serverid.cfg"}));
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, FailedMoveGoesUnnoticedAndTheNextCallerGetsTheNumberAgain) {
  installation.writeJobCounter("17");
  platform().rename.setFake([](const char*, const char*) {
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ("J18", creator.generateJobID());
  EXPECT_EQ("J18", creator.generateJobID());
  EXPECT_EQ("17", installation.jobCounter());
  EXPECT_EQ("18", readFile(installation.directory.path("data/velmo/jobid_tmp")));
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(JobIdentifierTest, CopyThatCannotBeCreatedIsLoggedAndTheCounterStays) {
  installation.writeJobCounter("17");
  installation.directory.makeDirectory("data/velmo/jobid_tmp");
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("Job ID file cannot be created!\n"),
                                        line("Errno: 21 Strerror: Is a directory\n")));
  EXPECT_EQ("17", installation.jobCounter());
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, FullDiskRemovesTheCopyAndTheCounterStays) {
  installation.writeJobCounter("17");
  std::filesystem::create_symlink("/dev/full", installation.directory.path("data/velmo/jobid_tmp"));
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("Job ID file cannot be created!\n"),
                                        line("Errno: 28 Strerror: No space left on device\n")));
  EXPECT_EQ("17", installation.jobCounter());
  EXPECT_FALSE(exists(installation.directory.path("data/velmo/jobid_tmp")));
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, UnsetDataReadsAsNullTextAndFailsAsAMissingDirectory) {
  installation.environment.unset("DATA");
  std::vector<std::string> opened;
  platform().fopen.setFake([&opened](const char* path, const char* mode) {
    opened.emplace_back(path);
    return platform().fopen.real(path, mode);
  });
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(opened, ElementsAre("(null)/velmo/jobid", "(null)/velmo/jobid_tmp"));
  EXPECT_THAT(log.lines(), ElementsAre("Job ID file cannot be created!\n",
                                       "Errno: 2 Strerror: No such file or directory\n"));
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, DataIsReadAtEveryCall) {
  EXPECT_EQ("J0", creator.generateJobID());
  installation.directory.makeDirectory("other/velmo");
  installation.directory.writeFile("other/velmo/jobid", "41");
  installation.environment.set("DATA", installation.directory.path("other"));
  EXPECT_EQ("J42", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
}

TEST_F(JobIdentifierTest, CounterAndCopyAreOfOneDirectoryWhateverHappensDuringTheWait) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  platform().nanosleep.setFake([this](const timespec*, timespec*) {
    std::filesystem::remove(lockFile);
    installation.environment.set("DATA", installation.directory.path("missing"));
    return 0;
  });
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
}

TEST_F(JobIdentifierTest, StaleLockFileTimesOutAfter30SecondsOfPauses) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  long waitedMs = 0;
  platform().nanosleep.setFake([&waitedMs](const timespec* pause, timespec*) {
    waitedMs += pause->tv_nsec / 1000000;
    return 0;
  });
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_GE(waitedMs, 30000);
  EXPECT_LT(waitedMs, 30989);
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("CreateTaskFile::generateJobID exception: Semaphore timed out")));
  EXPECT_TRUE(exists(lockFile)) << "the lock of somebody else is left alone";
}

TEST_F(JobIdentifierTest, SignalsThatInterruptEachPauseEndTheWaitLongBefore30Seconds) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  int pauses = 0;
  platform().nanosleep.setFake([&pauses](const timespec* pause, timespec*) {
    EXPECT_LT(pause->tv_nsec, 1000000000);
    ++pauses;
    errno = EINTR;  // at once: no time has gone by
    return -1;
  });
  platform().rand.setFake([] { return RAND_MAX; });  // 989 milliseconds each
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_EQ(31, pauses);
  EXPECT_THAT(log.lines(),
              ElementsAre("CreateTaskFile::generateJobID exception: Semaphore timed out"));
}

TEST_F(JobIdentifierTest, LockThatIsReleasedInTimeIsWaitedFor) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  platform().nanosleep.setFake([this](const timespec*, timespec*) {
    std::filesystem::remove(lockFile);
    return 0;
  });
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(JobIdentifierTest, MissingLockDirectoryIsLoggedWithoutWaiting) {
  installation.environment.set("LOCK_VAR", installation.directory.path("missing"));
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(
      log.cycles(),
      ElementsAre(line("CreateTaskFile::generateJobID exception: Creating semaphore failed: "
                       "velmo_jobid [No such file or directory]")));
  EXPECT_FALSE(exists(installation.directory.path("data/velmo/jobid")));
}

TEST_F(JobIdentifierTest, LockDirectoryWithoutPermissionIsLogged) {
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(log.lines(),
              ElementsAre("CreateTaskFile::generateJobID exception: Creating semaphore failed: "
                          "velmo_jobid [Permission denied]"));
}

TEST_F(JobIdentifierTest, LockFileThatCannotBeRemovedEndsTheProcess) {
  EXPECT_DEATH(
      {
        platform().unlink.setFake([](const char*) {
          errno = EACCES;
          return -1;
        });
        creator.generateJobID();
      },
      "terminate called after throwing an instance of 'brix::imutils::IMIOException'");
}

// --- the server identity ---

TEST_F(JobIdentifierTest, ServerIdentityIsPutInFront) {
  installation.writeServerIdentity("OTHER=x\nSELF_SERVER_ID=node2\n");
  EXPECT_EQ("node2-J0", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
}

TEST_F(JobIdentifierTest, EmptyServerIdentityIsStillPutInFront) {
  installation.writeServerIdentity("SELF_SERVER_ID=\n");
  EXPECT_EQ("-J0", creator.generateJobID());
}

TEST_F(JobIdentifierTest, FileWithoutTheKeyGivesNoPrefix) {
  installation.writeServerIdentity("self_server_id=node2\n");
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(JobIdentifierTest, ServerIdentityIsReadAtEveryCall) {
  installation.writeServerIdentity("SELF_SERVER_ID=node2\n");
  EXPECT_EQ("node2-J0", creator.generateJobID());
  installation.writeServerIdentity("SELF_SERVER_ID=node3\n");
  EXPECT_EQ("node3-J1", creator.generateJobID());
  installation.environment.set("CONF", installation.directory.path("missing"));
  EXPECT_EQ("J2", creator.generateJobID());
}

TEST_F(JobIdentifierTest, UnsetConfGivesNoPrefix) {
  installation.writeServerIdentity("SELF_SERVER_ID=node2\n");
  installation.environment.unset("CONF");
  EXPECT_EQ("J0", creator.generateJobID());
}

TEST_F(JobIdentifierTest, ExceptionFromTheServerIdentityIsLoggedAndThePrefixLeftOut) {
  platform().fopen.setFake([](const char* path, const char* mode) -> FILE* {
    if (std::string(path).find("serverid.cfg") != std::string::npos) {
      throw IMIOException(5, "no reading today");
    }
    return platform().fopen.real(path, mode);
  });
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("Exception at adding servername: no reading today\n")));
  EXPECT_EQ("0", installation.jobCounter());
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, OtherExceptionsPassAndReleaseTheLock) {
  platform().fopen.setFake([](const char* path, const char* mode) -> FILE* {
    if (std::string(path).find("serverid.cfg") != std::string::npos) {
      throw std::bad_alloc();
    }
    return platform().fopen.real(path, mode);
  });
  EXPECT_THROW(creator.generateJobID(), std::bad_alloc);
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, FreeFunctionReturnsAnArrayOfTheCaller) {
  installation.writeServerIdentity("SELF_SERVER_ID=node2\n");
  const std::unique_ptr<char[]> id(generateJobID());
  EXPECT_STREQ("node2-J0", id.get());
}

TEST_F(JobIdentifierTest, FreeFunctionReturnsAnEmptyTextOnFailure) {
  installation.environment.set("LOCK_VAR", installation.directory.path("missing"));
  const std::unique_ptr<char[]> id(generateJobID());
  ASSERT_NE(nullptr, id);
  EXPECT_STREQ("", id.get());
}

// --- generateTaskID ---

class TaskIdentifierTest : public CreateTaskFileTest {
 protected:
  // What became of the semaphore and the segment after a failure: both released.
  void expectReleased() {
    EXPECT_EQ(1, installation.semaphore.value());
    EXPECT_EQ(0U, installation.counter.attachments());
  }
};

TEST_F(TaskIdentifierTest, FirstIdentifierOfANewSegmentIs1) {
  EXPECT_EQ(1, creator.generateTaskID());
  EXPECT_EQ(2, creator.generateTaskID());
  EXPECT_EQ(2, installation.counter.value());
  expectReleased();
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(TaskIdentifierTest, IdentifierFollowsTheCounter) {
  const std::vector<std::pair<int, int>> rows{
      {730, 731},
      {0x7ffffffd, 0x7ffffffe},
      {0x7ffffffe, 0},        // starts again one short of the largest int
      {0x7fffffff, INT_MIN},  // written by somebody else: wraps
      {-5, -4},
      {-1, 0},
  };
  for (const auto& [before, id] : rows) {
    installation.counter.setValue(before);
    EXPECT_EQ(id, creator.generateTaskID());
    EXPECT_EQ(id, installation.counter.value());
  }
}

TEST_F(TaskIdentifierTest, CounterSetToTheTopOrBelowMinus1FailsWithoutALineUntilItReaches0) {
  for (const int counter : {INT_MAX, -3}) {
    installation.counter.setValue(counter);
    EXPECT_EQ(-1, submit("NORMAL")) << counter;
    EXPECT_EQ(-1, submit("NORMAL")) << counter;
  }
  EXPECT_THAT(installation.queue(), IsEmpty());
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_EQ(0, installation.counter.value());
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(TaskIdentifierTest, CallsAreMadeInOrderWithTheirArguments) {
  std::vector<std::string> steps;
  platform().semget.setFake([&](key_t key, int count, int flags) {
    steps.push_back("semget " + std::to_string(count) + " " + std::to_string(flags));
    return platform().semget.real(key, count, flags);
  });
  platform().semctl.setFake([&](int, int, int, int) {
    ADD_FAILURE() << "the semaphore is the service's";
    return 0;
  });
  platform().semop.setFake([&](int id, sembuf* op, size_t count) {
    steps.push_back("semop " + std::to_string(op->sem_op));
    return platform().semop.real(id, op, count);
  });
  platform().shmget.setFake([&](key_t key, size_t size, int flags) {
    EXPECT_EQ(installation.counter.key(), key);
    steps.push_back("shmget " + std::to_string(size) + " " + std::to_string(flags));
    return platform().shmget.real(key, size, flags);
  });
  platform().shmat.setFake([&](int id, const void* address, int flags) {
    EXPECT_EQ(nullptr, address);
    steps.push_back("shmat " + std::to_string(flags));
    return platform().shmat.real(id, address, flags);
  });
  platform().shmdt.setFake([&](const void* address) {
    steps.emplace_back("shmdt");
    return platform().shmdt.real(address);
  });
  EXPECT_EQ(1, creator.generateTaskID());
  EXPECT_THAT(steps, ElementsAre("semget 1 950", "semop -1", "shmget 4 950", "shmat 0", "shmdt",
                                 "semop 1"));
}

TEST_F(TaskIdentifierTest, UnsetSegmentKeyIsLogged) {
  installation.environment.unset("SHARED_VELMO_TASKID");
  installation.environment.unset("SEMAPHORE_VELMO_TASKID");
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("createTaskFile getenv(SHARED_VELMO_TASKID) is NULL")));
}

TEST_F(TaskIdentifierTest, UnsetSemaphoreKeyIsLoggedAndTheSegmentNotTouched) {
  const UnusedKey key;
  installation.environment.set("SHARED_VELMO_TASKID", key.text());
  installation.environment.unset("SEMAPHORE_VELMO_TASKID");
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("createTaskFile getenv(SEMAPHORE_VELMO_TASKID) is NULL")));
  EXPECT_FALSE(key.hasSegment());
}

TEST_F(TaskIdentifierTest, MissingSegmentIsCreated) {
  const UnusedKey key;
  installation.environment.set("SHARED_VELMO_TASKID", key.text());
  EXPECT_EQ(1, creator.generateTaskID());
  EXPECT_TRUE(key.hasSegment());
  EXPECT_EQ(2, creator.generateTaskID());
}

TEST_F(TaskIdentifierTest, KeysAreReadAsNumbersAtEveryCall) {
  const TestSegment other(4);
  other.setValue(99);
  EXPECT_EQ(1, creator.generateTaskID());
  installation.environment.set("SHARED_VELMO_TASKID", " " + std::to_string(other.key()) + "x");
  EXPECT_EQ(100, creator.generateTaskID());

  const TestSemaphore otherSemaphore(1);
  int operations = 0;
  platform().semop.setFake([&](int id, sembuf* op, size_t count) {
    operations += id == otherSemaphore.id() ? 1 : 0;
    return platform().semop.real(id, op, count);
  });
  installation.environment.set("SEMAPHORE_VELMO_TASKID", std::to_string(otherSemaphore.key()));
  EXPECT_EQ(101, creator.generateTaskID());
  EXPECT_EQ(2, operations);
}

TEST_F(TaskIdentifierTest, KeyThatIsNoNumberIs0) {
  std::vector<int> keys;
  platform().semget.setFake([&keys](key_t key, int, int) {
    keys.push_back(key);
    return 1;
  });
  platform().semop.setFake([](int, sembuf*, size_t) { return 0; });
  platform().shmget.setFake([&keys](key_t key, size_t, int) {
    keys.push_back(key);
    return -1;
  });
  installation.environment.set("SHARED_VELMO_TASKID", "abc");
  installation.environment.set("SEMAPHORE_VELMO_TASKID", "");
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(keys, ElementsAre(0, 0));
}

TEST_F(TaskIdentifierTest, RemovedSemaphoreFailsTheLock) {
  platform().semget.setFake([this](key_t key, int count, int flags) {
    const int id = platform().semget.real(key, count, flags);
    installation.semaphore.remove();
    return id;
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  const std::string id = std::to_string(installation.semaphore.id());
  EXPECT_THAT(log.cycles(), ElementsAre(LogCycle{"IMMemSemaphore", 1, 152, 3,
                                                 "Semaphore lock - semop failed for id:" + id},
                                        line("Couldn't lock the semaphore")));
  EXPECT_EQ(0, installation.counter.value());
}

TEST_F(TaskIdentifierTest, SemaphoreThatCannotBeCreatedFailsTheLock) {
  platform().semget.setFake([](key_t, int, int) {
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore constructor - semget failed for key" +
                                           std::to_string(installation.semaphore.key()),
                                       "Semaphore lock - semop failed for id:-1",
                                       "Couldn't lock the semaphore"));
}

TEST_F(TaskIdentifierTest, UninitialisedSemaphoreBlocksUntilSomebodyRaisesIt) {
  installation.semaphore.setValue(0);
  int waits = 0;
  platform().semop.setFake([&](int id, sembuf* op, size_t count) {
    if (op->sem_op < 0 && waits++ == 0) {
      sembuf attempt = *op;
      attempt.sem_flg |= IPC_NOWAIT;
      EXPECT_EQ(-1, platform().semop.real(id, &attempt, count));
      EXPECT_EQ(EAGAIN, errno) << "the lock would not have blocked";
      installation.semaphore.setValue(1);
    }
    return platform().semop.real(id, op, count);
  });
  EXPECT_EQ(1, creator.generateTaskID());
}

TEST_F(TaskIdentifierTest, ObjectsThatTheServiceRemovedAreMadeAnewWithAValueThatBlocks) {
  const UnusedKey key;
  installation.environment.set("SHARED_VELMO_TASKID", key.text());
  installation.environment.set("SEMAPHORE_VELMO_TASKID", key.text());
  platform().semop.setFake([](int id, sembuf* op, size_t count) {
    op->sem_flg |= IPC_NOWAIT;
    EXPECT_EQ(-1, platform().semop.real(id, op, count));
    EXPECT_EQ(EAGAIN, errno) << "the lock would not have blocked";
    return -1;
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_TRUE(key.hasSemaphore());
}

TEST_F(TaskIdentifierTest, SignalThatInterruptsTheWaitFailsTheSubmissionAndTheNextOneSucceeds) {
  bool isInterrupted = true;
  platform().semop.setFake([&isInterrupted](int id, sembuf* op, size_t count) {
    if (std::exchange(isInterrupted, false)) {
      errno = EINTR;
      return -1;
    }
    return platform().semop.real(id, op, count);
  });
  EXPECT_EQ(-1, submit("NORMAL"));
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore lock - semop failed for id:" +
                                           std::to_string(installation.semaphore.id()),
                                       "Couldn't lock the semaphore"));
  EXPECT_THAT(installation.temporary(), IsEmpty());
  EXPECT_THAT(installation.queue(), IsEmpty());
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), ElementsAre(firstName));
}

TEST_F(TaskIdentifierTest, SegmentThatIsTooSmallFailsShmget) {
  const TestSegment small(1);
  installation.environment.set("SHARED_VELMO_TASKID", std::to_string(small.key()));
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("createTaskFile shmget error")));
  expectReleased();
}

TEST_F(TaskIdentifierTest, LargerSegmentServesWithItsFirstFourBytes) {
  const TestSegment large(10000);
  large.setValue(41);
  installation.environment.set("SHARED_VELMO_TASKID", std::to_string(large.key()));
  EXPECT_EQ(42, creator.generateTaskID());
  EXPECT_EQ(42, large.value());
}

TEST_F(TaskIdentifierTest, AnyNegativeAnswerOfShmgetIsAFailure) {
  platform().shmget.setFake([](key_t, size_t, int) { return -2; });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.lines(), ElementsAre("createTaskFile shmget error"));
}

TEST_F(TaskIdentifierTest, ExceptionUnderTheSemaphoreReleasesIt) {
  platform().shmget.setFake([](key_t, size_t, int) { return -1; });
  platform().syslog.setFake([](int, const char*) { throw std::bad_alloc(); });
  platform().openlog.setFake([](const char*, int, int) {});
  EXPECT_THROW(creator.generateTaskID(), std::bad_alloc);
  EXPECT_EQ(1, installation.semaphore.value());
}

TEST_F(TaskIdentifierTest, FailedAttachIsLoggedAndTheSemaphoreReleased) {
  platform().shmat.setFake([](int, const void*, int) {
    return reinterpret_cast<void*>(-1L);  // NOLINT(performance-no-int-to-ptr): how shmat fails
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("createTaskFile shmat error")));
  expectReleased();
}

TEST_F(TaskIdentifierTest, FailedDetachIsLoggedAlthoughTheCounterAdvanced) {
  platform().shmdt.setFake([](const void* address) {
    platform().shmdt.real(address);
    return -1;
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("createTaskFile shmdt error")));
  EXPECT_EQ(1, installation.counter.value());
  expectReleased();
}

TEST_F(TaskIdentifierTest, FailedUnlockGivesTheIdentifierUp) {
  platform().semop.setFake([](int id, sembuf* op, size_t count) {
    if (op->sem_op > 0) {
      errno = EIDRM;
      return -1;
    }
    return platform().semop.real(id, op, count);
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore unlock - semop failed for id:" +
                                           std::to_string(installation.semaphore.id()),
                                       "Couldn't unlock the semaphore"));
  EXPECT_EQ(1, installation.counter.value());
}

TEST_F(TaskIdentifierTest, FailedUnlockAfterAnotherFailureIsLoggedToo) {
  platform().shmget.setFake([](key_t, size_t, int) { return -1; });
  platform().semop.setFake([](int, sembuf* op, size_t) { return op->sem_op > 0 ? -1 : 0; });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.lines(), ElementsAre("createTaskFile shmget error",
                                       "Semaphore unlock - semop failed for id:" +
                                           std::to_string(installation.semaphore.id()),
                                       "Couldn't unlock the semaphore"));
}

}  // namespace
