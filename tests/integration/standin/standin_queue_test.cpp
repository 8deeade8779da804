// What velmo-standin does with the files in the queue.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "StandinProcess.h"

namespace fs = std::filesystem;

namespace velmo::test {
namespace {

using testing::HasSubstr;

// A directory that several runs share. The first run creates the installation and ends.
class StandinQueueTest : public testing::Test {
 protected:
  StandinQueueTest() {
    StandinProcess(inHome(home(), {"--", "true"})).wait();
  }

  // Runs the tasks in the queue and returns the reports.
  std::string drain() const {
    StandinProcess standin(inHome(home(), {"--", "true"}));
    EXPECT_EQ(0, standin.wait());
    return standin.errors();
  }

  void queue(const TestTask& task, const std::string& command) const {
    queueFile(home(), task.fileName(), command + "\n");
  }

  const fs::path& home() const {
    return m_directory.path();
  }

  fs::path queued(const std::string& name) const {
    return home() / "var/taskqueue" / name;
  }

  std::string log(const TestTask& task) const {
    return textOf(home() / "var/log" / (task.fileName() + ".log"));
  }

  TemporaryDirectory m_directory;
};

TEST_F(StandinQueueTest, TaskIsRunReportedAndTakenOut) {
  const TestTask task{50, 731};
  queue(task, "echo out; echo err >&2");
  EXPECT_EQ(
      "velmo-standin: priority 0050, created 2025-03-03 14:05:09, job J12, sub-job 0, task 731, "
      "relative 2, type sh: exit 0, output in " +
          home().string() +
          "/var/log/0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh.log\n",
      drain());
  EXPECT_EQ("out\nerr\n", log(task));
  EXPECT_TRUE(fs::is_empty(queued("")));
}

TEST_F(StandinQueueTest, ExitStatusAndSignalOfATaskAreReported) {
  const TestTask failing{50, 1};
  const TestTask killed{50, 2};
  queue(failing, "exit 3");
  queue(killed, "kill -TERM $$");
  EXPECT_EQ(failing.ranLine("exit 3", home()) + killed.ranLine("signal 15", home()), drain());
}

TEST_F(StandinQueueTest, TasksAreRunInTheOrderOfTheirNames) {
  const TestTask negative{-5, 5};
  const TestTask urgent{50, 4};
  const TestTask late{500, 2};
  const TestTask later{500, 3};
  const TestTask fiveDigits{12000, 1};
  for (const TestTask& task : {later, fiveDigits, late, negative, urgent}) {
    queue(task, "true");
  }
  EXPECT_EQ(negative.ranLine("exit 0", home()) + urgent.ranLine("exit 0", home()) +
                late.ranLine("exit 0", home()) + later.ranLine("exit 0", home()) +
                fiveDigits.ranLine("exit 0", home()),
            drain());
}

TEST_F(StandinQueueTest, MoreUrgentFileThatComesMeanwhileIsRunNext) {
  const TestTask running{900, 1};
  const TestTask late{800, 2};
  const TestTask urgent{50, 3};
  StandinProcess standin(inHome(home()));
  queue(running, "echo >started; " + waitForFile(home() / "go"));
  ASSERT_TRUE(waitUntil([&] { return fs::exists(home() / "started"); }));
  queue(late, "true");
  queue(urgent, "true");
  EXPECT_EQ("", standin.errors());
  std::ofstream(home() / "go").put('x');
  EXPECT_EQ(0, standin.end());
  EXPECT_EQ(running.ranLine("exit 0", home()) + urgent.ranLine("exit 0", home()) +
                late.ranLine("exit 0", home()),
            standin.errors());
}

TEST_F(StandinQueueTest, FileIsTakenAsItComesAndLeavesTheQueueWhenItsTaskEnds) {
  const TestTask task{50, 1};
  StandinProcess standin(inHome(home()));
  queue(task, "echo >started; " + waitForFile(home() / "go"));
  ASSERT_TRUE(waitUntil([&] { return fs::exists(home() / "started"); }));
  EXPECT_TRUE(fs::exists(queued(task.fileName())));
  std::ofstream(home() / "go").put('x');
  EXPECT_TRUE(waitUntil([&] { return !fs::exists(queued(task.fileName())); }));
  EXPECT_EQ(task.ranLine("exit 0", home()), standin.errors());
}

TEST_F(StandinQueueTest, TaskWorksInTheInstallationWithItsEnvironmentAndWithoutInput) {
  const TestTask task{50, 1};
  queue(task, "pwd; echo \"$VAR\"; cat; readlink /proc/self/fd/0");
  drain();
  EXPECT_EQ(home().string() + "\n" + home().string() + "/var\n/dev/null\n", log(task));
}

TEST_F(StandinQueueTest, OnlyTheFirstLineIsRun) {
  const TestTask task{50, 1};
  queueFile(home(), task.fileName(), "echo command\necho information\n");
  EXPECT_EQ(task.ranLine("exit 0", home()), drain());
  EXPECT_EQ("command\n", log(task));
}

// The kernel limits an argument of a program to 131071 bytes.
TEST_F(StandinQueueTest, CommandOfAnyLengthIsRunLikeAShortOne) {
  const TestTask shorter{50, 1};
  const TestTask longer{50, 2};
  const std::string end = "; echo $0 $#; readlink /proc/self/fd/0; cat; exit 7";
  queue(shorter, ": x" + end);
  queue(longer, ": " + std::string(1000000, 'x') + end);
  EXPECT_EQ(shorter.ranLine("exit 7", home()) + longer.ranLine("exit 7", home()), drain());
  EXPECT_EQ("/bin/sh 0\n/dev/null\n", log(shorter));
  EXPECT_EQ(log(shorter), log(longer));
}

TEST_F(StandinQueueTest, OutputIsShownLineByLineAfterTheReportOfItsTask) {
  const TestTask first{50, 1};
  const TestTask silent{50, 2};
  const TestTask last{50, 3};
  queue(first, "echo out; echo err >&2");
  queue(silent, "exit 3");
  queue(last, "printf 'a\\tb\\n\\nc'");
  StandinProcess standin(inHome(home(), {"--show-output", "--", "true"}));
  EXPECT_EQ(0, standin.wait());
  EXPECT_EQ(first.ranLine("exit 0", home()) + "velmo-standin: | out\nvelmo-standin: | err\n" +
                silent.ranLine("exit 3", home()) + last.ranLine("exit 0", home()) +
                "velmo-standin: | a\tb\nvelmo-standin: | \nvelmo-standin: | c\n",
            standin.errors());
  EXPECT_EQ("out\nerr\n", log(first));
}

TEST_F(StandinQueueTest, PriorityOfAnUnknownClassIsWarnedOfAlsoWhereTheTaskIsNotRunnable) {
  const std::string warning =
      ": a priority class that is not in priorities.cfg gets the priority 9999\n";
  const TestTask known{9998, 1};
  const TestTask unknown{9999, 2};
  const TestTask java{9999, 3, "java"};
  for (const TestTask& task : {known, unknown, java}) {
    queue(task, "true");
  }
  const auto warningOf = [&](const TestTask& task) {
    const std::string description = task.description().substr(sizeof "velmo-standin:");
    return "velmo-standin: warning: " + description + warning;
  };
  EXPECT_EQ(known.ranLine("exit 0", home()) + warningOf(unknown) +
                unknown.ranLine("exit 0", home()) + warningOf(java) + java.description() +
                ": not runnable here\n",
            drain());
}

TEST_F(StandinQueueTest, FailedTaskEndsWith123IfThatIsAskedForAndCommandSucceeded) {
  struct Row {
    const char* contents;
    const char* type;
    int status;
  };
  const std::vector<Row> rows{
      {"true\n", "sh", 0},      {"exit 3\n", "sh", 123}, {"kill -TERM $$\n", "sh", 123},
      {"a\nb\nc\n", "sh", 123}, {"Main\n", "java", 0},
  };
  int id = 0;
  for (const Row& row : rows) {
    const TestTask task{50, ++id, row.type};
    queueFile(home(), task.fileName(), row.contents);
    StandinProcess standin(inHome(home(), {"--fail-on-task", "--", "true"}));
    EXPECT_EQ(row.status, standin.wait()) << row.contents;
    fs::remove(queued(task.fileName()));
  }
}

TEST_F(StandinQueueTest, FailedTaskDoesNotReplaceTheStatusOfCommand) {
  const TestTask task{50, 1};
  queue(task, "exit 3");
  StandinProcess standin(inHome(home(), {"--fail-on-task", "--", "/bin/sh", "-c", "exit 4"}));
  EXPECT_EQ(4, standin.wait());
}

TEST_F(StandinQueueTest, FailedTaskEndsWith123AlsoWithoutCommand) {
  const TestTask task{50, 1};
  StandinProcess standin(inHome(home(), {"--fail-on-task"}));
  queue(task, "exit 3");
  EXPECT_EQ(123, standin.end());
  EXPECT_EQ(task.ranLine("exit 3", home()), standin.errors());
}

TEST_F(StandinQueueTest, OneFailedTaskAmongOthersCounts) {
  queue(TestTask{50, 1}, "exit 3");
  queue(TestTask{50, 2}, "true");
  StandinProcess standin(inHome(home(), {"--fail-on-task", "--", "true"}));
  EXPECT_EQ(123, standin.wait());
}

TEST_F(StandinQueueTest, TaskMaySubmitTasksWhichAreDrainedToo) {
  const TestTask parent{50, 1};
  const TestTask child{10, 2};
  queue(parent, "echo 'echo child' >tmp/x; mv tmp/x var/taskqueue/" + child.fileName());
  EXPECT_EQ(parent.ranLine("exit 0", home()) + child.ranLine("exit 0", home()), drain());
  EXPECT_EQ("child\n", log(child));
}

TEST_F(StandinQueueTest, QueueIsDrainedBeforeTheEnd) {
  const TestTask first{10, 1};
  const TestTask second{20, 2};
  std::string script;
  for (const TestTask& task : {first, second}) {
    script += "echo 'sleep 0.05; echo done' >\"$TMP/x\"; mv \"$TMP/x\" \"$VAR/taskqueue/" +
              task.fileName() + "\"; ";
  }
  StandinProcess standin(inHome(home(), shell(script + "exit 4")));
  EXPECT_EQ(4, standin.wait());
  EXPECT_EQ(first.ranLine("exit 0", home()) + second.ranLine("exit 0", home()), standin.errors());
  EXPECT_EQ("done\n", log(second));
}

TEST_F(StandinQueueTest, OtherTypesAreReportedAsNotRunnableHereAndTakenOut) {
  const TestTask task{50, 1, "java"};
  queue(task, "com.example.Main");
  EXPECT_EQ(task.description() + ": not runnable here\n", drain());
  EXPECT_FALSE(fs::exists(queued(task.fileName())));
  EXPECT_EQ("", drain());
}

TEST_F(StandinQueueTest, MalformedFileIsReportedOnceAndNotHalfRun) {
  const TestTask malformed{50, 1};
  const TestTask good{60, 2};
  StandinProcess standin(inHome(home()));
  queue(malformed, "echo a\necho b\necho c");
  queue(good, "true");
  EXPECT_EQ(0, standin.end());
  EXPECT_EQ(malformed.description() +
                ": malformed, 3 lines where one or two belong, left in the queue\n" +
                good.ranLine("exit 0", home()),
            standin.errors());
  EXPECT_TRUE(fs::exists(queued(malformed.fileName())));
  EXPECT_FALSE(fs::exists(home() / "var/log" / (malformed.fileName() + ".log")));
}

TEST_F(StandinQueueTest, MalformedFileThatIsReplacedIsLookedAtAgain) {
  const TestTask task{50, 1};
  StandinProcess standin(inHome(home()));
  queue(task, "a\nb\nc");
  ASSERT_TRUE(waitUntil([&] { return !standin.errors().empty(); }));
  queue(task, "echo good");
  EXPECT_TRUE(waitUntil([&] { return !fs::exists(queued(task.fileName())); }));
  EXPECT_THAT(standin.errors(), HasSubstr("left in the queue\n" + task.ranLine("exit 0", home())));
}

TEST_F(StandinQueueTest, StrayThingsAreReportedOnceLeftLyingAndInNobodysWay) {
  const TestTask directory{50, 1};
  const TestTask link{50, 2};
  const TestTask pipe{50, 3};
  const TestTask good{60, 4};
  fs::create_directory(queued(directory.fileName()));
  fs::create_symlink("/etc/hostname", queued(link.fileName()));
  mkfifo(queued(pipe.fileName()).c_str(), 0600);
  writeFile(queued("README"), "");
  writeFile(queued("0050.odd\nname"), "");
  queue(good, "true");
  StandinProcess standin(inHome(home()));
  EXPECT_EQ(0, standin.end());

  const std::string left = ": not a task file, left in the queue\n";
  EXPECT_EQ("velmo-standin: " + directory.fileName() + left + "velmo-standin: " + link.fileName() +
                left + "velmo-standin: " + pipe.fileName() + left + "velmo-standin: 0050.odd?name" +
                left + good.ranLine("exit 0", home()) + "velmo-standin: README" + left,
            standin.errors());
  for (const std::string& name :
       {directory.fileName(), link.fileName(), pipe.fileName(), std::string("README")}) {
    EXPECT_TRUE(fs::exists(fs::symlink_status(queued(name)))) << name;
  }
}

TEST_F(StandinQueueTest, TaskWhoseLogCannotBeMadeIsNotRun) {
  const std::string start = "0050.20250303140509.";
  const std::string end = ".S0.T20250303140509-1.R0002.sh";
  const std::string job(255 - start.size() - end.size(), 'J');  // no room for ".log"
  queueFile(home(), start + job + end, "echo >ran\n");
  EXPECT_EQ("velmo-standin: priority 0050, created 2025-03-03 14:05:09, job " + job +
                ", sub-job 0, task 1, relative 2, type sh: cannot write its log: File name too "
                "long, left in the queue\n",
            drain());
  EXPECT_FALSE(fs::exists(home() / "ran"));
}

TEST_F(StandinQueueTest, NoRunLeavesFilesLyingAndTheNextRunRunsThem) {
  const TestTask task{50, 1};
  StandinProcess standin(inHome(home(), {"--no-run"}));
  queue(task, "echo ran");
  EXPECT_EQ(0, standin.end());
  EXPECT_EQ("", standin.errors());
  EXPECT_TRUE(fs::exists(queued(task.fileName())));

  EXPECT_EQ(task.ranLine("exit 0", home()), drain());
  EXPECT_EQ("ran\n", log(task));
}

TEST_F(StandinQueueTest, QueueThatCannotBeReadIsAFailureOfItsOwn) {
  StandinProcess standin(
      inHome(home(), shell("mv \"$VAR\" \"$VAR.away\"; kill -CHLD $PPID; exec sleep 600")));
  EXPECT_EQ(125, standin.wait());
  EXPECT_THAT(standin.errors(), HasSubstr("No such file or directory"));
}

}  // namespace
}  // namespace velmo::test
