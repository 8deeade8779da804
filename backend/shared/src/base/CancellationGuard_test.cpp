#include "CancellationGuard.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>

namespace {

using brix::imutils::CancellationGuard;

// The cancellation state of this thread, unchanged by the call.
int cancellation() {
  int state = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
  pthread_setcancelstate(state, nullptr);
  return state;
}

TEST(CancellationGuardTest, HoldsACancellationBackWhileItLives) {
  ASSERT_EQ(PTHREAD_CANCEL_ENABLE, cancellation());
  {
    const CancellationGuard guard;
    EXPECT_EQ(PTHREAD_CANCEL_DISABLE, cancellation());
  }
  EXPECT_EQ(PTHREAD_CANCEL_ENABLE, cancellation());
}

TEST(CancellationGuardTest, GuardsMayBeNested) {
  const CancellationGuard outer;
  { const CancellationGuard inner; }
  EXPECT_EQ(PTHREAD_CANCEL_DISABLE, cancellation());
}

TEST(CancellationGuardTest, ThreadThatCannotBeCancelledStaysSo) {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  { const CancellationGuard guard; }
  EXPECT_EQ(PTHREAD_CANCEL_DISABLE, cancellation());
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

TEST(CancellationGuardTest, LeavesErrnoAlone) {
  errno = ENOENT;
  { const CancellationGuard guard; }
  EXPECT_EQ(ENOENT, errno);
}

}  // namespace
