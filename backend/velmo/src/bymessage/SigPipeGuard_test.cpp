#include "SigPipeGuard.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <stdexcept>
#include <thread>

#include "SigPipe.h"

namespace {

using brix::velmo::SigPipeGuard;
using velmo::test::blockSigPipe;
using velmo::test::blocksSigPipe;
using velmo::test::isSigPipePending;

sigset_t currentMask() {
  sigset_t mask{};
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return mask;
}

void takePending() {
  sigset_t set{};
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  const timespec atOnce{};
  sigtimedwait(&set, nullptr, &atOnce);
}

// Fails as the networking library does: writes to a closed pipe and throws.
void writeToNobody() {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe(ends.data()));
  close(ends[0]);
  const ssize_t written = write(ends[1], "x", 1);
  close(ends[1]);
  if (written < 0) {
    throw std::runtime_error("broken pipe");
  }
}

void failGuarded() {
  const SigPipeGuard guard;
  writeToNobody();
}

// Leaves a pending SIGPIPE that looks like one of a guarded send.
void failUnguarded() {
  EXPECT_THROW(writeToNobody(), std::runtime_error);
}

// Runs in a new thread, so that signal masks and pending signals end with it.
void inThread(bool blocked, const std::function<void()>& body) {
  std::thread([blocked, &body] {
    blockSigPipe(blocked);
    body();
    takePending();
  }).join();
}

TEST(SigPipeGuardTest, BlocksAndUnblocksWhereTheSignalWasNotBlocked) {
  inThread(false, [] {
    {
      const SigPipeGuard guard;
      EXPECT_TRUE(blocksSigPipe());
    }
    EXPECT_FALSE(blocksSigPipe());
  });
}

TEST(SigPipeGuardTest, LeavesABlockedSignalBlocked) {
  inThread(true, [] {
    {
      const SigPipeGuard guard;
      EXPECT_TRUE(blocksSigPipe());
    }
    EXPECT_TRUE(blocksSigPipe());
  });
}

TEST(SigPipeGuardTest, LeavesTheRestOfTheMaskAlone) {
  inThread(false, [] {
    sigset_t others{};
    sigemptyset(&others);
    sigaddset(&others, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &others, nullptr);
    {
      const SigPipeGuard guard;
      const sigset_t mask = currentMask();
      EXPECT_EQ(1, sigismember(&mask, SIGUSR1));
      EXPECT_EQ(0, sigismember(&mask, SIGUSR2));
      pthread_sigmask(SIG_UNBLOCK, &others, nullptr);  // changes of other signals stay
    }
    const sigset_t mask = currentMask();
    EXPECT_EQ(0, sigismember(&mask, SIGUSR1));
  });
}

TEST(SigPipeGuardTest, SurvivesAFailedWriteWhereTheSignalWasNotBlocked) {
  inThread(false, [] {
    EXPECT_THROW(failGuarded(), std::runtime_error);
    EXPECT_FALSE(blocksSigPipe());
  });
}

TEST(SigPipeGuardTest, TakesTheSignalBackWhereItWasBlocked) {
  inThread(true, [] {
    EXPECT_THROW(failGuarded(), std::runtime_error);
    EXPECT_TRUE(blocksSigPipe());
    EXPECT_FALSE(isSigPipePending());
  });
}

TEST(SigPipeGuardTest, KeepsASignalThatWaitedBefore) {
  inThread(true, [] {
    raise(SIGPIPE);
    EXPECT_THROW(failGuarded(), std::runtime_error);
    EXPECT_TRUE(isSigPipePending());
    takePending();
    EXPECT_FALSE(isSigPipePending());
  });
}

TEST(SigPipeGuardTest, TakesNothingWhenTheSendWorked) {
  inThread(true, [] {
    failUnguarded();
    { const SigPipeGuard guard; }
    EXPECT_TRUE(isSigPipePending());
  });
}

TEST(SigPipeGuardTest, ExceptionUnderWayBeforeIsNoFailedSend) {
  struct SendsWhenItGoes {
    ~SendsWhenItGoes() {
      const SigPipeGuard guard;
    }
  };
  inThread(true, [] {
    failUnguarded();
    try {
      const SendsWhenItGoes sender;
      throw std::runtime_error("something else");
    } catch (const std::runtime_error&) {
      EXPECT_TRUE(isSigPipePending());
    }
  });
}

// The networking library repeats the first write of a handshake; its exception ends inside.
void failGuardedAndRepeat() {
  const SigPipeGuard guard(SigPipeGuard::FailedSend::MayBeRepeated);
  EXPECT_THROW(writeToNobody(), std::runtime_error);
}

TEST(SigPipeGuardTest, SurvivesAWriteThatIsRepeatedWhereTheSignalWasNotBlocked) {
  inThread(false, [] {
    failGuardedAndRepeat();
    EXPECT_FALSE(blocksSigPipe());
    EXPECT_FALSE(isSigPipePending());
  });
}

TEST(SigPipeGuardTest, TakesBackTheSignalOfAWriteThatIsRepeatedWhereItWasBlocked) {
  inThread(true, [] {
    failGuardedAndRepeat();
    EXPECT_TRUE(blocksSigPipe());
    EXPECT_FALSE(isSigPipePending());
  });
}

TEST(SigPipeGuardTest, KeepsASignalThatWaitedBeforeAWriteThatIsRepeated) {
  inThread(true, [] {
    failUnguarded();
    failGuardedAndRepeat();
    EXPECT_TRUE(isSigPipePending());
    takePending();
    EXPECT_FALSE(isSigPipePending());
  });
}

TEST(SigPipeGuardTest, TakesNothingWhenNoWriteHadToBeRepeated) {
  inThread(true, [] {
    { const SigPipeGuard guard(SigPipeGuard::FailedSend::MayBeRepeated); }
    EXPECT_FALSE(isSigPipePending());
    failUnguarded();
    { const SigPipeGuard guard(SigPipeGuard::FailedSend::MayBeRepeated); }
    EXPECT_TRUE(isSigPipePending());
  });
}

TEST(SigPipeGuardTest, GuardsMayBeNested) {
  inThread(false, [] {
    {
      const SigPipeGuard outer;
      EXPECT_THROW(failGuarded(), std::runtime_error);
      EXPECT_TRUE(blocksSigPipe());
    }
    EXPECT_FALSE(blocksSigPipe());
  });
}

TEST(SigPipeGuardTest, DispositionStaysTheProgramsOwn) {
  inThread(false, [] {
    struct sigaction before {};
    struct sigaction during {};
    struct sigaction after {};
    sigaction(SIGPIPE, nullptr, &before);
    {
      const SigPipeGuard guard;
      sigaction(SIGPIPE, nullptr, &during);
    }
    sigaction(SIGPIPE, nullptr, &after);
    EXPECT_EQ(before.sa_handler, during.sa_handler);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
  });
}

// Shows that the tests above need the guard: without it the same write ends the process.
TEST(SigPipeGuardTest, WithoutItTheSameWriteEndsTheProcess) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    blockSigPipe(false);
    try {
      writeToNobody();
    } catch (const std::runtime_error&) {
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(SIGPIPE, WTERMSIG(status));
}

// A thread is cancelled between a send and the end of the guard.
void* failCancelled(void* /*nothing*/) {
  blockSigPipe(false);
  try {
    const SigPipeGuard guard;
    pthread_cancel(pthread_self());
    throw std::runtime_error("broken pipe");
  } catch (const std::runtime_error&) {
    return nullptr;
  }
}

TEST(SigPipeGuardTest, IsNoPlaceToBeCancelledIn) {
  pthread_t thread{};
  ASSERT_EQ(0, pthread_create(&thread, nullptr, failCancelled, nullptr));
  void* result = PTHREAD_CANCELED;
  ASSERT_EQ(0, pthread_join(thread, &result));
  EXPECT_EQ(nullptr, result);
}

}  // namespace
