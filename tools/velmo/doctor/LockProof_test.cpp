#include "LockProof.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmo::cli {
namespace {

constexpr std::time_t kModified = 1'700'000'000;
constexpr pid_t kMaker = 123;

class LockProofTest : public testing::Test {
 protected:
  LockProofTest() {
    facts.modified = kModified;
  }

  RunningProcess& add(pid_t id, std::time_t start) {
    RunningProcess process;
    process.id = id;
    process.name = "report";
    process.start = start;
    processes.push_back(process);
    return processes.back();
  }

  // "stale: ..." or "not: ..."
  std::string verdict() const {
    const LockVerdict found = judge(facts, processes);
    return (found.isStale ? "stale: " : "not: ") + found.reason;
  }

  LockFacts facts;
  std::vector<RunningProcess> processes;
};

// --- the place of the file ---

TEST_F(LockProofTest, FileThatIsNotRegularIsNoProof) {
  facts.isRegular = false;
  EXPECT_EQ("not: it is not a regular file", verdict());
}

TEST_F(LockProofTest, FileSystemOfSeveralMachinesIsNoProof) {
  facts.isLocal = false;
  facts.contents = "123\n";
  EXPECT_EQ("not: it is on a file system that other machines may use", verdict());
}

TEST_F(LockProofTest, HiddenProcessesAreNoProof) {
  facts.isAllVisible = false;
  facts.contents = "123\n";
  EXPECT_EQ(
      "not: processes that may have made it are hidden from this one: run as root, outside of a "
      "container",
      verdict());
}

// --- a file that names its maker ---

class LockWithMakerTest : public LockProofTest {
 protected:
  LockWithMakerTest() {
    facts.contents = "123\n";
  }
};

TEST_F(LockWithMakerTest, MakerThatHasEndedIsProof) {
  add(7, kModified - 100).mappedLibraries = {"libvelmo.so.1"};  // works under its own number
  EXPECT_EQ("stale: process 123, which made it, has ended", verdict());
}

TEST_F(LockWithMakerTest, MakerThatRunsIsNamed) {
  facts.isMakerRunning = true;
  add(kMaker, kModified - 1);
  EXPECT_EQ("not: process 123 (report), which made it, is running", verdict());
}

TEST_F(LockWithMakerTest, MakerWhoseStartIsNotKnownCountsAsRunning) {
  facts.isMakerRunning = true;
  add(kMaker, 0).start.reset();
  EXPECT_EQ("not: process 123, which made it, is running", verdict());
}

TEST_F(LockWithMakerTest, MakerThatIsNotListedCountsAsRunning) {
  facts.isMakerRunning = true;
  EXPECT_EQ("not: process 123, which made it, is running", verdict());
}

TEST_F(LockWithMakerTest, ProcessThatStartedTwoSecondsLaterIsNotTheMaker) {
  facts.isMakerRunning = true;
  add(kMaker, kModified + 2);
  EXPECT_EQ(
      "stale: process 123, which made it, has ended: the one that has this number now started "
      "later",
      verdict());
}

TEST_F(LockWithMakerTest, ProcessThatStartedOneSecondLaterMayBeTheMaker) {
  facts.isMakerRunning = true;
  add(kMaker, kModified + 1);
  EXPECT_EQ("not: process 123 (report), which made it, is running", verdict());
}

// The clock may have been set in between.
TEST_F(LockWithMakerTest, LaterProcessThatUsesTheLibraryMayBeTheMaker) {
  facts.isMakerRunning = true;
  add(kMaker, kModified + 100'000).mappedLibraries = {"libvelmo.so.1"};
  EXPECT_EQ("not: process 123 (report), whose number it holds, is running and uses libvelmo.so.1",
            verdict());
}

TEST_F(LockWithMakerTest, LaterProcessThatCannotBeReadMayBeTheMaker) {
  facts.isMakerRunning = true;
  add(kMaker, kModified + 100'000).isReadable = false;
  EXPECT_EQ(
      "not: it is not known whether process 123 (report), whose number it holds, made it: run as "
      "root",
      verdict());
}

TEST_F(LockWithMakerTest, NumberWithoutALineFeedMayBeCut) {
  facts.contents = "123";
  EXPECT_EQ("not: its contents may be the beginning of a longer number", verdict());
}

TEST_F(LockWithMakerTest, ProcessOfAContainerMayHaveMadeItUnderAnotherNumber) {
  RunningProcess& process = add(900, kModified - 5);
  process.isElsewhere = true;
  process.mappedLibraries = {"libvelmo-client.so.1"};
  EXPECT_EQ(
      "not: process 123 has ended, but process 900 (report) uses libvelmo-client.so.1 and may have "
      "made it, under another number",
      verdict());
}

TEST_F(LockWithMakerTest, ProcessOfAContainerWithoutTheLibraryIsNoObstacle) {
  add(900, kModified - 5).isElsewhere = true;
  EXPECT_EQ("stale: process 123, which made it, has ended", verdict());
}

TEST_F(LockWithMakerTest, ContentsThatAreNotANumberAreNoProof) {
  for (const char* contents : {"x", "123 ", "0\n", "-5", "12\n13\n", "99999999999\n", "\n"}) {
    facts.contents = contents;
    EXPECT_EQ("not: its contents are not the number of a process", verdict()) << contents;
  }
}

// --- an empty file ---

TEST_F(LockProofTest, EmptyFileIsStaleWithoutAProcessThatUsesTheLibrary) {
  add(7, kModified - 100);
  EXPECT_EQ("stale: it names no process, and no running process can have made it", verdict());
}

TEST_F(LockProofTest, ProcessThatUsesTheLibraryMayHaveMadeAnEmptyFile) {
  add(7, kModified - 100).mappedLibraries = {"libvelmo.so.1.0.0"};
  EXPECT_EQ(
      "not: it names no process, and process 7 (report) uses libvelmo.so.1.0.0 and may have made "
      "it",
      verdict());
}

TEST_F(LockProofTest, ProcessYoungerThanAnEmptyFileHasNotMadeIt) {
  RunningProcess& process = add(7, kModified + 300);
  process.mappedLibraries = {"libvelmo.so.1.0.0"};
  process.isReadable = false;
  EXPECT_EQ("stale: it names no process, and no running process can have made it", verdict());
}

TEST_F(LockProofTest, ProcessWithinAStepOfTheClockMayHaveMadeAnEmptyFile) {
  add(7, kModified + 299).mappedLibraries = {"libvelmo.so.1.0.0"};
  EXPECT_FALSE(judge(facts, processes).isStale);
}

TEST_F(LockProofTest, ProcessThatCannotBeReadIsNoProof) {
  add(7, kModified - 100).isReadable = false;
  EXPECT_EQ(
      "not: it names no process, and it is not known whether process 7 (report) made it: run as "
      "root",
      verdict());
}

TEST_F(LockProofTest, ProcessWhoseStartIsNotKnownIsNoProof) {
  add(7, 0).start.reset();
  EXPECT_EQ(
      "not: it names no process, and it is not known when process 7 (report) started: run as root",
      verdict());
}

TEST_F(LockProofTest, ThreadOfTheKernelIsNoObstacle) {
  RunningProcess& process = add(7, kModified - 100);
  process.isReadable = false;
  process.isOfKernel = true;
  EXPECT_TRUE(judge(facts, processes).isStale);
}

TEST_F(LockProofTest, NameOfAProcessStaysOneLine) {
  RunningProcess& process = add(7, kModified - 100);
  process.isReadable = false;
  process.name = "a\nb";
  EXPECT_NE(std::string::npos, verdict().find("process 7 (a?b)"));
}

}  // namespace
}  // namespace velmo::cli
