#include "Processes.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

constexpr std::time_t kBoot = 1'700'000'000;

// A tree as the kernel shows it.
class ProcessesTest : public testing::Test {
 protected:
  ProcessesTest() {
    root.writeFile("stat", "cpu  1 2 3\nbtime " + std::to_string(kBoot) + "\nprocesses 5\n");
    root.makeDirectory("self/ns");
    root.writeFile("self/status", "Name:\tx\nNSpid:\t5\n");
    add("1", "systemd", 0);
    root.makeDirectory("sys");
    root.makeDirectory("1x");
  }

  static std::string statLine(const std::string& id, const std::string& name, long startSeconds,
                              const std::string& state = "S", long threads = 1,
                              unsigned long flags = 0x400000) {
    const long ticks = startSeconds * sysconf(_SC_CLK_TCK);
    return id + " (" + name + ") " + state + " 1 1 1 0 -1 " + std::to_string(flags) +
           " 1 1 1 1 1 1 1 1 20 0 " + std::to_string(threads) + " 0 " + std::to_string(ticks) +
           " 99 99\n";
  }

  void add(const std::string& id, const std::string& name, long startSeconds) const {
    root.makeDirectory(id);
    root.writeFile(id + "/stat", statLine(id, name, startSeconds));
    root.writeFile(id + "/status", "Name:\tx\nNSpid:\t" + id + "\n");
    root.writeFile(id + "/maps", "55d0-55d1 r-xp 0 fd:00 12 /usr/bin/x\n");
  }

  Processes processes() const {
    return Processes(root.path());
  }

  RunningProcess find(pid_t id) const {
    for (const RunningProcess& process : processes().all()) {
      if (process.id == id) {
        return process;
      }
    }
    ADD_FAILURE() << "no process " << id;
    return {};
  }

  test::TemporaryDirectory root;
};

TEST_F(ProcessesTest, OnlyNumbersAreProcesses) {
  ASSERT_EQ(1U, processes().all().size());
  EXPECT_EQ(1, processes().all()[0].id);
}

TEST_F(ProcessesTest, ThisProcessIsLeftOut) {
  add(std::to_string(getpid()), "me", 1);
  EXPECT_EQ(1U, processes().all().size());
}

TEST_F(ProcessesTest, StartIsSecondsSinceTheMachineStarted) {
  add("7", "report", 3600);
  EXPECT_EQ(kBoot + 3600, find(7).start);
}

TEST_F(ProcessesTest, NameMayHoldBlanksAndParentheses) {
  add("7", "a) R (b", 60);
  EXPECT_EQ("a) R (b", find(7).name);
  EXPECT_EQ(kBoot + 60, find(7).start);
}

TEST_F(ProcessesTest, StartIsNotKnownWithoutThatOfTheMachine) {
  root.writeFile("stat", "cpu 1\n");
  EXPECT_FALSE(find(1).start);
}

TEST_F(ProcessesTest, StartIsNotKnownIfTheLineBreaksOff) {
  root.writeFile("1/stat", "1 (systemd) S 1 1");
  EXPECT_FALSE(find(1).start);
  EXPECT_FALSE(find(1).isOfKernel);
}

TEST_F(ProcessesTest, ThreadOfTheKernelIsRecognised) {
  root.writeFile("1/stat", statLine("1", "kworker", 0, "S", 1, 0x208040));
  EXPECT_TRUE(find(1).isOfKernel);
}

TEST_F(ProcessesTest, MappedLibrariesAreRecognised) {
  for (const char* name :
       {"libvelmo.so", "libvelmo.so.1.0.0", "libvelmo-client.so.1", "libvelmo-client.so.1.2.3"}) {
    root.writeFile("1/maps", "1-2 r-xp 0 0:0 0 [heap]\n1-2 r-xp 0 fd:00 1 /a b/" +
                                 std::string(name) + "\n1-2 rw-p 0 0:0 0\n");
    EXPECT_EQ(std::vector<std::string>{name}, find(1).mappedLibraries);
  }
}

TEST_F(ProcessesTest, LibraryThatWasReplacedOnDiskIsRecognised) {
  root.writeFile("1/maps", "1-2 r-xp 0 fd:00 1 /usr/lib/libvelmo.so.1 (deleted)\n");
  EXPECT_EQ(std::vector<std::string>{"libvelmo.so.1"}, find(1).mappedLibraries);
}

TEST_F(ProcessesTest, OtherLibrariesAreNot) {
  root.writeFile("1/maps",
                 "1-2 r-xp 0 fd:00 1 /x/libvelmo.so.d/libc.so\n"
                 "1-2 r-xp 0 fd:00 1 /x/mylibvelmo.so\n"
                 "1-2 r-xp 0 fd:00 1 /x/libvelmo-tools.so\n");
  EXPECT_TRUE(find(1).mappedLibraries.empty());
  EXPECT_TRUE(find(1).isReadable);
}

TEST_F(ProcessesTest, ProcessWithoutMapsIsNotReadable) {
  std::filesystem::remove(root.path("1/maps"));
  EXPECT_FALSE(find(1).isReadable);
}

TEST_F(ProcessesTest, ProcessWhoseFirstThreadHasEndedIsNotReadable) {
  root.writeFile("1/stat", statLine("1", "x", 0, "Z", 3));
  EXPECT_FALSE(find(1).isReadable);
  root.writeFile("1/stat", statLine("1", "x", 0, "Z", 1));
  EXPECT_TRUE(find(1).isReadable);
}

TEST_F(ProcessesTest, ProcessOfAContainerHasSeveralNumbers) {
  root.writeFile("1/status", "NSpid:\t900\t7\n");
  EXPECT_TRUE(find(1).isElsewhere);
}

TEST_F(ProcessesTest, EverythingIsVisibleIfTheFirstProcessIs) {
  EXPECT_TRUE(processes().isComplete());
  std::filesystem::remove_all(root.path("1"));
  EXPECT_FALSE(processes().isComplete());
}

TEST_F(ProcessesTest, TreeOfAnotherNamespaceIsNotComplete) {
  root.writeFile("self/status", "NSpid:\t5\t2\n");
  EXPECT_FALSE(processes().isComplete());
}

TEST_F(ProcessesTest, WholeMachineIsTheFirstNamespace) {
  EXPECT_FALSE(processes().isWholeMachine());
  std::filesystem::create_symlink("pid:[4026532999]", root.path("self/ns/pid"));
  EXPECT_FALSE(processes().isWholeMachine());
  std::filesystem::remove(root.path("self/ns/pid"));
  std::filesystem::create_symlink("pid:[4026531836]", root.path("self/ns/pid"));
  EXPECT_TRUE(processes().isWholeMachine());
}

TEST(ProcessesOfThisMachineTest, ParentIsListedWithItsStart) {
  const std::vector<RunningProcess> all = Processes().all();
  const auto parent = std::find_if(all.begin(), all.end(), [](const RunningProcess& process) {
    return process.id == getppid();
  });
  ASSERT_NE(all.end(), parent);
  ASSERT_TRUE(parent->start);
  EXPECT_LE(*parent->start, time(nullptr) + 1);
}

}  // namespace
}  // namespace velmo::cli
