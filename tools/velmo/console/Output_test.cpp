#include "Output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>

#include "Environment.h"
#include "Failure.h"

namespace velmo::cli {
namespace {

// A terminal of 40 columns and 10 rows.
class OutputTest : public testing::Test {
 protected:
  OutputTest() {
    winsize size{};
    size.ws_col = 40;
    size.ws_row = 10;
    EXPECT_EQ(0, openpty(&m_master, &m_terminal, nullptr, nullptr, &size));
    m_environment.set("TERM", "xterm");
    m_environment.unset("NO_COLOR");
  }

  ~OutputTest() override {
    close(m_master);
    close(m_terminal);
  }

  int m_master = -1;
  int m_terminal = -1;
  test::Environment m_environment;
};

TEST_F(OutputTest, TerminalHasItsSize) {
  const Output output(m_terminal);
  EXPECT_TRUE(output.isTerminal());
  EXPECT_EQ(40U, output.width());
  EXPECT_EQ(10U, output.height());
}

TEST_F(OutputTest, TerminalWithoutASizeIsTakenFor80By24) {
  const winsize none{};
  ASSERT_EQ(0, ioctl(m_terminal, TIOCSWINSZ, &none));
  const Output output(m_terminal);
  EXPECT_EQ(80U, output.width());
  EXPECT_EQ(24U, output.height());
}

TEST_F(OutputTest, FileHasNoSize) {
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const Output output(null);
  EXPECT_FALSE(output.isTerminal());
  EXPECT_EQ(0U, output.width());
  EXPECT_EQ(0U, output.height());
  EXPECT_EQ("x", output.styled("x", Style::Bad));
  close(null);
}

TEST_F(OutputTest, TerminalHasColours) {
  EXPECT_EQ("\x1b[32mok\x1b[0m", Output(m_terminal).styled("ok", Style::Good));
  EXPECT_EQ("ok", Output(m_terminal).styled("ok", Style::Plain));
  EXPECT_EQ("", Output(m_terminal).styled("", Style::Good));
}

TEST_F(OutputTest, NoColorSwitchesColoursOff) {
  m_environment.set("NO_COLOR", "0");
  EXPECT_EQ("ok", Output(m_terminal).styled("ok", Style::Good));
}

TEST_F(OutputTest, EmptyNoColorDoesNot) {
  m_environment.set("NO_COLOR", "");
  EXPECT_EQ("\x1b[32mok\x1b[0m", Output(m_terminal).styled("ok", Style::Good));
}

TEST_F(OutputTest, DumbOrUnknownTerminalHasNoColours) {
  m_environment.set("TERM", "dumb");
  EXPECT_EQ("ok", Output(m_terminal).styled("ok", Style::Good));
  m_environment.unset("TERM");
  EXPECT_EQ("ok", Output(m_terminal).styled("ok", Style::Good));
}

TEST_F(OutputTest, ReaderThatIsGoneIsNotAFailure) {
  signal(SIGPIPE, SIG_IGN);
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe(ends.data()));
  close(ends[0]);
  EXPECT_THROW(Output(ends[1]).write("x"), OutputClosed);
  close(ends[1]);
}

TEST_F(OutputTest, FailureOfAMessageIsIgnored) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  Output(full).tell("x");
  close(full);
}

TEST_F(OutputTest, FullDiskIsAFailure) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  try {
    Output(full).write("x");
    FAIL() << "nothing was thrown";
  } catch (const Failure& failure) {
    EXPECT_EQ(Status::systemError, failure.status());
    EXPECT_STREQ("cannot write the output: No space left on device", failure.what());
  }
  close(full);
}

}  // namespace
}  // namespace velmo::cli
