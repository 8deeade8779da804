#include "ShellCommand.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <optional>
#include <string>

#include "Child.h"
#include "TemporaryDirectory.h"

namespace velmo::standin {
namespace {

using tools::Background;
using tools::Child;
using tools::ChildEnd;
using tools::FileDescriptor;

using velmo::test::readFile;
using velmo::test::TemporaryDirectory;

// The longest command that is passed as an argument.
constexpr std::size_t kLongest = 131071;

// A command of this length with this end.
std::string ofLength(std::size_t length, const std::string& end) {
  return ": " + std::string(length - 3 - end.size(), 'x') + ";" + end;
}

struct Outcome {
  ChildEnd end;
  std::string output;
};

Outcome run(const std::string& text) {
  const TemporaryDirectory directory;
  const std::string output = directory.path("output");
  const FileDescriptor log(open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const ShellCommand command = shellCommand(text);
  Child child(command.arguments, {"PATH=/usr/bin:/bin"},
              Background{directory.path(), log.get(), command.input.get()});
  std::optional<ChildEnd> end;
  while (!(end = child.poll())) {
    poll(nullptr, 0, 1);
  }
  return {*end, readFile(output)};
}

TEST(ShellCommandTest, CommandUpToTheKernelsLimitIsAnArgument) {
  for (const std::string& text : {std::string("exit 3"), ofLength(kLongest, "exit 3")}) {
    const ShellCommand command = shellCommand(text);
    EXPECT_EQ((std::vector<std::string>{"/bin/sh", "-c", text}), command.arguments);
    EXPECT_FALSE(command.input.isOpen());
    EXPECT_EQ(3, run(text).end.number);
  }
}

TEST(ShellCommandTest, LongerCommandHasTheSameOutcome) {
  for (const std::string end :
       {"exit 3", "kill -TERM $$", "echo $0 $#", "readlink /proc/self/fd/0; cat",
        "echo 'a\\b' \"$PATH\" \\\"", "set -e; false; echo no", "trap 'echo end' EXIT; exit 5",
        "no-such-program 2>/dev/null", "return 4", "set | grep -v ^PWD=", "ls /proc/self/fd",
        "exec sleep 0"}) {
    const Outcome shorter = run(ofLength(kLongest, end));
    const Outcome longer = run(ofLength(kLongest + 1, end));
    EXPECT_EQ(shorter.end.bySignal, longer.end.bySignal) << end;
    EXPECT_EQ(shorter.end.number, longer.end.number) << end;
    EXPECT_EQ(shorter.output, longer.output) << end;
  }
}

TEST(ShellCommandTest, SyntaxErrorInALongerCommandHasTheSameStatusAndNothingIsRun) {
  const Outcome shorter = run(ofLength(kLongest, "echo ran; if"));
  const Outcome longer = run(ofLength(kLongest + 1, "echo ran; if"));
  EXPECT_EQ(2, shorter.end.number);
  EXPECT_EQ(2, longer.end.number);
  EXPECT_EQ(std::string::npos, longer.output.find("ran\n"));
}

}  // namespace
}  // namespace velmo::standin
