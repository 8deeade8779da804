// Standard streams of velmo that are closed, full, or without a reader.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "StandinProcess.h"
#include "TemporaryDirectory.h"

namespace velmo::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class StandardStreamsTest : public testing::Test {
 protected:
  // Runs a script of a shell in which $velmo is the program.
  // @return its exit status
  int run(const std::string& script, const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments = inHome(m_directory.path() / "home", {"--no-run"});
    arguments.insert(arguments.end(), {"--port", "0"});
    arguments.insert(arguments.end(), options.begin(), options.end());
    for (const std::string& word : shell("cd '" + m_directory.path().string() + "'; velmo='" +
                                         TOOL_PROGRAM + "'; " + script)) {
      arguments.push_back(word);
    }
    StandinProcess standin(arguments);
    const int status = standin.wait();
    m_output = standin.output();
    m_errors = standin.errors();
    return status;
  }

  std::string file(const std::string& name) const {
    return textOf(m_directory.path() / name);
  }

  std::size_t queued() const {
    const auto queue =
        std::filesystem::directory_iterator(m_directory.path() / "home/var/taskqueue");
    return static_cast<std::size_t>(std::distance(begin(queue), end(queue)));
  }

  TemporaryDirectory m_directory;
  std::string m_output;
  std::string m_errors;
};

TEST_F(StandardStreamsTest, FileThatIsOpenedDoesNotBecomeAClosedStandardOutput) {
  EXPECT_EQ(11, run("printf 'a\\n{\"x\\n' | $velmo submit --stdin -p Normal -j J5 --failed f >&-"));
  EXPECT_EQ("{\"x\n", file("f"));
  EXPECT_EQ(1U, queued());
}

TEST_F(StandardStreamsTest, ConnectionDoesNotBecomeAClosedStandardOutput) {
  EXPECT_EQ(11, run("$velmo submit -p Normal --service true >&-"));
  EXPECT_THAT(m_errors, HasSubstr("velmo: the task is queued as \"0500."));
  EXPECT_THAT(m_errors, HasSubstr(", but cannot write the output: Bad file descriptor\n"));
  EXPECT_THAT(m_errors, Not(HasSubstr("refused")));
  EXPECT_EQ(1U, queued());
}

TEST_F(StandardStreamsTest, ConnectionDoesNotBecomeAClosedStandardError) {
  EXPECT_EQ(0, run("mkfifo p; $velmo submit --stdin -p Normal --service <p >o 2>&- & exec 3>p; "
                   "echo a >&3; until [ -s o ]; do sleep 0.01; done; readlink /proc/$!/fd/2; "
                   "exec 3>&-; wait $!"));
  EXPECT_EQ("/dev/null\n", m_output);
  EXPECT_THAT(file("o"), StartsWith("1\tok\t0500."));
}

TEST_F(StandardStreamsTest, ClosedStandardInputIsAFailureToReadIt) {
  EXPECT_EQ(6, run("$velmo submit --stdin -p Normal <&-"));
  EXPECT_THAT(m_errors, HasSubstr("cannot read standard input: Bad file descriptor"));
}

TEST_F(StandardStreamsTest, StandardErrorThatCannotBeWrittenKeepsTheStatus) {
  EXPECT_EQ(2, run("$velmo submit -p Nope true 2>/dev/full"));
  EXPECT_EQ(12, run("$velmo queue show 77 2>/dev/full"));
  EXPECT_EQ(11, run("$velmo submit -p Normal --service true 2>/dev/full",
                    {"--fault", "reset-after-request"}));
}

TEST_F(StandardStreamsTest, JsonOfAFailureThatCannotBeWrittenKeepsTheStatus) {
  EXPECT_EQ(11, run("$velmo submit -p Normal --service --json true >/dev/full",
                    {"--fault", "reset-after-request"}));
}

TEST_F(StandardStreamsTest, NameWhoseReaderIsGoneIsOnStandardError) {
  EXPECT_EQ(141, run("mkfifo p; exec 3<>p 4>p 3<&-; $velmo submit -p Normal true >&4"));
  EXPECT_THAT(m_errors, HasSubstr("velmo: the task is queued as \"0500."));
  EXPECT_EQ(1U, queued());
}

TEST_F(StandardStreamsTest, LimitOfFileSizesDoesNotEndTheProgram) {
  run("(ulimit -f 0; $velmo submit -p Normal -j J5 true; echo \"status $?\") 2>&1 | cat");
  EXPECT_THAT(m_output, StartsWith("velmo: not queued: cannot write the task file "));
  EXPECT_THAT(m_output, HasSubstr(": File too large\nstatus 6\n"));
  EXPECT_EQ(0U, queued());
}

}  // namespace
}  // namespace velmo::test
