#include "Interrupt.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <string>

namespace velmo::cli {
namespace {

TEST(InterruptTest, FlagIsTheSignal) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const Interrupt interrupt;
    EXPECT_FALSE(interrupt.isRequested());
    raise(number);
    EXPECT_TRUE(interrupt.isRequested());
    EXPECT_EQ(number, interrupt.flag());
  }
}

// Whether a process waits.
bool isAsleep(pid_t process) {
  std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(stat, text);
  return text.find(") S ") != std::string::npos;
}

TEST(InterruptTest, ReadThatWaitsIsInterrupted) {
  const Interrupt interrupt;
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe(ends.data()));
  const pid_t reader = getpid();
  const pid_t child = fork();
  if (child == 0) {
    while (!isAsleep(reader)) {
      sched_yield();
    }
    kill(reader, SIGINT);
    _exit(0);
  }
  char byte = 0;
  EXPECT_EQ(-1, read(ends[0], &byte, 1));
  EXPECT_EQ(EINTR, errno);
  EXPECT_TRUE(interrupt.isRequested());
  waitpid(child, nullptr, 0);
}

TEST(InterruptTest, SecondSignalEndsTheProcess) {
  EXPECT_EXIT(
      {
        const Interrupt interrupt;
        raise(SIGTERM);
        raise(SIGTERM);
      },
      testing::KilledBySignal(SIGTERM), "");
}

TEST(InterruptTest, IgnoredSignalStaysIgnored) {
  signal(SIGHUP, SIG_IGN);
  const Interrupt interrupt;
  raise(SIGHUP);
  EXPECT_FALSE(interrupt.isRequested());
}

void doNothing(int /*signal*/) {}

TEST(InterruptTest, FormerHandlersAreRestored) {
  signal(SIGINT, doNothing);
  signal(SIGTERM, SIG_DFL);
  { const Interrupt interrupt; }
  EXPECT_EQ(doNothing, signal(SIGINT, SIG_DFL));
  EXPECT_EQ(SIG_DFL, signal(SIGTERM, SIG_DFL));
}

}  // namespace
}  // namespace velmo::cli
