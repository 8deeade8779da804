#include "Child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include "FileDescriptor.h"
#include "TemporaryDirectory.h"

namespace velmo::tools {
namespace {

using velmo::test::readFile;
using velmo::test::TemporaryDirectory;

class ChildTest : public testing::Test {
 protected:
  ChildEnd endOf(Child& child) const {
    for (;;) {
      if (const std::optional<ChildEnd> end = child.poll()) {
        return *end;
      }
      ::poll(nullptr, 0, 1);
    }
  }

  // Runs a shell command in the background to its end.
  ChildEnd run(const std::string& command) const {
    const FileDescriptor log(open(outputFile().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    Child child({"/bin/sh", "-c", command}, {"PATH=/usr/bin:/bin", "NAME=value"},
                Background{m_directory.path(), log.get(), -1});
    return endOf(child);
  }

  std::string output() const {
    return readFile(outputFile());
  }

  std::filesystem::path outputFile() const {
    return m_directory.path() / "output";
  }

  TemporaryDirectory m_directory;
};

TEST_F(ChildTest, ExitStatusIsReported) {
  const ChildEnd end = run("exit 7");
  EXPECT_FALSE(end.bySignal);
  EXPECT_EQ(7, end.number);
  EXPECT_EQ(7, end.shellStatus());
}

TEST_F(ChildTest, EndBySignalIsReported) {
  const ChildEnd end = run("kill -TERM $$");
  EXPECT_TRUE(end.bySignal);
  EXPECT_EQ(SIGTERM, end.number);
  EXPECT_EQ(128 + SIGTERM, end.shellStatus());
}

TEST_F(ChildTest, BackgroundWritesBothStreamsToItsOutputInOrder) {
  run("echo a; echo b >&2; echo c");
  EXPECT_EQ("a\nb\nc\n", output());
}

TEST_F(ChildTest, BackgroundRunsInItsDirectoryWithItsEnvironmentAndWithoutInput) {
  run("pwd; echo $NAME; cat; readlink /proc/self/fd/0");
  EXPECT_EQ(m_directory.path().string() + "\nvalue\n/dev/null\n", output());
}

TEST_F(ChildTest, BackgroundReadsFromAGivenInput) {
  velmo::test::writeFile(m_directory.path() / "input", "hello\n");
  const FileDescriptor input(open(m_directory.path("input").c_str(), O_RDONLY | O_CLOEXEC));
  const FileDescriptor log(open(outputFile().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  Child child({"/bin/cat"}, {}, Background{m_directory.path(), log.get(), input.get()});
  EXPECT_EQ(0, endOf(child).number);
  EXPECT_EQ("hello\n", output());
}

TEST_F(ChildTest, BackgroundHasOnlyTheStandardDescriptors) {
  const FileDescriptor other(open("/dev/null", O_RDONLY));  // a child would inherit this one
  run("for number in 0 1 2 3 4 5 6 7 8 9; do "
      "[ -e /proc/$$/fd/$number ] && echo $number; done; true");
  EXPECT_EQ("0\n1\n2\n", output());
}

TEST_F(ChildTest, BackgroundLeadsItsOwnProcessGroup) {
  run("echo $$; cut -d' ' -f5 /proc/self/stat");
  const std::string text = output();
  const std::string pid = text.substr(0, text.find('\n'));
  EXPECT_EQ(pid + "\n" + pid + "\n", text);
}

TEST_F(ChildTest, SignalsAreNotBlockedAndSigpipeIsNotIgnored) {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  const auto oldPipe = signal(SIGPIPE, SIG_IGN);
  const ChildEnd end = run("kill -PIPE $$");
  signal(SIGPIPE, oldPipe);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  EXPECT_TRUE(end.bySignal);
  EXPECT_EQ(SIGPIPE, end.number);
}

TEST_F(ChildTest, ProgramThatCannotBeStartedIsNamedWithTheReason) {
  try {
    const Child child({"no-such-program"}, {}, std::nullopt);
    FAIL() << "started";
  } catch (const std::system_error& failure) {
    EXPECT_EQ(std::errc::no_such_file_or_directory, failure.code());
    EXPECT_STREQ("no-such-program: No such file or directory", failure.what());
  }
}

TEST_F(ChildTest, SignalArrives) {
  Child child({"sleep", "60"}, {}, std::nullopt);
  child.signal(SIGUSR1);
  EXPECT_EQ(SIGUSR1, endOf(child).number);
}

TEST_F(ChildTest, BackgroundIsKilledWithItsWholeGroupByTheDestructor) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  const FileDescriptor reader(ends[0]);
  {
    const FileDescriptor writer(ends[1]);
    Child child({"/bin/sh", "-c", "sleep 60 & echo; wait"}, {"PATH=/usr/bin:/bin"},
                Background{m_directory.path(), writer.get(), -1});
    char started = 0;
    ASSERT_EQ(1, read(reader.get(), &started, 1));
  }
  // The pipe ends when no process has its other end open.
  char more = 0;
  EXPECT_EQ(0, read(reader.get(), &more, 1));
}

}  // namespace
}  // namespace velmo::tools
