#include "SignalQueue.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>

namespace velmo::tools {
namespace {

bool isReadable(const SignalQueue& queue) {
  pollfd descriptor{queue.descriptor(), POLLIN, 0};
  return poll(&descriptor, 1, 0) == 1;
}

TEST(SignalQueueTest, RequestsToEndAreQueued) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    SignalQueue queue;
    raise(number);
    EXPECT_TRUE(isReadable(queue));
    const std::optional<EndSignal> signal = queue.takeEndSignal();
    ASSERT_TRUE(signal);
    EXPECT_EQ(number, signal->number);
    EXPECT_FALSE(signal->fromTerminal);
    EXPECT_FALSE(queue.takeEndSignal());
  }
}

TEST(SignalQueueTest, EndOfAChildIsQueuedAndIsNotARequestToEnd) {
  SignalQueue queue;
  raise(SIGCHLD);
  EXPECT_TRUE(isReadable(queue));
  EXPECT_FALSE(queue.takeEndSignal());
  EXPECT_FALSE(isReadable(queue));
}

TEST(SignalQueueTest, RequestToEndAfterTheEndOfAChildIsFound) {
  SignalQueue queue;
  raise(SIGCHLD);
  raise(SIGTERM);
  EXPECT_TRUE(queue.takeEndSignal());
}

TEST(SignalQueueTest, SigpipeIsIgnored) {
  const SignalQueue queue;
  raise(SIGPIPE);
  EXPECT_FALSE(isReadable(queue));
}

TEST(SignalQueueTest, HangUpThatWasIgnoredIsNotQueued) {
  signal(SIGHUP, SIG_IGN);
  SignalQueue queue;
  raise(SIGHUP);
  EXPECT_FALSE(queue.takeEndSignal());
  signal(SIGHUP, SIG_DFL);
}

TEST(SignalQueueTest, ChildrenCanBeAwaitedEvenIfSigchldWasIgnored) {
  signal(SIGCHLD, SIG_IGN);
  const SignalQueue queue;
  struct sigaction action {};
  sigaction(SIGCHLD, nullptr, &action);
  EXPECT_EQ(SIG_DFL, action.sa_handler);
}

}  // namespace
}  // namespace velmo::tools
