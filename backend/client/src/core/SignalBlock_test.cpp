#include "SignalBlock.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <csignal>
#include <set>

namespace {

using velmo::client::SignalBlock;

volatile std::sig_atomic_t g_delivered = 0;

// Counts a signal until the object is destroyed.
class CountedSignal {
 public:
  explicit CountedSignal(int signal) : m_signal(signal) {
    g_delivered = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { g_delivered = g_delivered + 1; };
    sigaction(signal, &action, &m_before);
  }

  CountedSignal(const CountedSignal&) = delete;
  CountedSignal& operator=(const CountedSignal&) = delete;

  ~CountedSignal() {
    sigaction(m_signal, &m_before, nullptr);
  }

 private:
  int m_signal;
  struct sigaction m_before {};
};

sigset_t setOf(int signal) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  return set;
}

// The numbers of the signals that this thread blocks.
std::set<int> blocked() {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  std::set<int> signals;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    if (sigismember(&mask, signal) == 1) {
      signals.insert(signal);
    }
  }
  return signals;
}

TEST(SignalBlockTest, SignalIsDeliveredAtTheEnd) {
  const CountedSignal counted(SIGINT);
  {
    const SignalBlock block;
    pthread_kill(pthread_self(), SIGINT);
    EXPECT_EQ(0, g_delivered);
  }
  EXPECT_EQ(1, g_delivered);
}

TEST(SignalBlockTest, EverySignalIsBlockedThatCanBeButThoseOfFaults) {
  const std::set<int> open{SIGKILL, SIGSTOP, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP};
  std::set<int> expected;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    const bool isOfTheThreadLibrary = signal > SIGSYS && signal < SIGRTMIN;
    if (open.count(signal) == 0 && !isOfTheThreadLibrary) {
      expected.insert(signal);
    }
  }
  const SignalBlock block;
  EXPECT_EQ(expected, blocked());
}

TEST(SignalBlockTest, HandlerOfAFaultRunsMeanwhile) {
  const CountedSignal counted(SIGSYS);
  const SignalBlock block;
  pthread_kill(pthread_self(), SIGSYS);
  EXPECT_EQ(1, g_delivered);
}

TEST(SignalBlockTest, MaskIsRestored) {
  const std::set<int> before = blocked();
  { const SignalBlock block; }
  EXPECT_EQ(before, blocked());
}

TEST(SignalBlockTest, SignalThatTheProgramBlocksStaysBlocked) {
  for (const int signal : {SIGUSR1, SIGSEGV}) {
    const sigset_t set = setOf(signal);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &set, &before);
    const std::set<int> during = blocked();
    {
      const SignalBlock block;
      EXPECT_EQ(1U, blocked().count(signal)) << signal;
    }
    EXPECT_EQ(during, blocked()) << signal;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
}

TEST(SignalBlockTest, BlocksMayBeNested) {
  const CountedSignal counted(SIGTERM);
  {
    const SignalBlock outer;
    {
      const SignalBlock inner;
      pthread_kill(pthread_self(), SIGTERM);  // NOLINT(bugprone-bad-signal-to-kill-thread)
    }
    EXPECT_EQ(0, g_delivered);
  }
  EXPECT_EQ(1, g_delivered);
}

}  // namespace
