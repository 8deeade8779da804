#include "Call.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "ReplacedAllocation.h"

namespace {

using velmo::client::Fault;
using velmo::client::Outcome;
using velmo::client::Problem;
using velmo::client::runCall;

// The cancellation state of this thread, unchanged by the call.
int cancellation() {
  int state = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
  pthread_setcancelstate(state, nullptr);
  return state;
}

Outcome succeed() {
  return std::nullopt;
}

Outcome fail() {
  return Fault{Problem::ArgumentMissing, "task"};
}

static_assert(noexcept(runCall(nullptr, succeed)));

template <typename Exception>
void expectOutOfMemory(const Exception& exception) {
  velmo_error error;
  std::memset(&error, 0x55, sizeof error);
  const velmo_status status = runCall(&error, [&]() -> Outcome { throw exception; });
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, status);
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, error.status);
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, error.cause);
  EXPECT_EQ(0, error.system_error);
  EXPECT_STREQ("out of memory", error.message);
}

TEST(CallTest, SuccessLeavesTheErrorAlone) {
  velmo_error error;
  std::memset(&error, 0x55, sizeof error);
  const std::string before(reinterpret_cast<const char*>(&error), sizeof error);
  EXPECT_EQ(VELMO_OK, runCall(&error, succeed));
  EXPECT_EQ(before, std::string(reinterpret_cast<const char*>(&error), sizeof error));
}

TEST(CallTest, FailureIsAStatusAndAText) {
  velmo_error error{};
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, runCall(&error, fail));
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, error.status);
  EXPECT_STREQ("task is missing", error.message);
}

TEST(CallTest, CallerNeedsNoError) {
  EXPECT_EQ(VELMO_OK, runCall(nullptr, succeed));
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, runCall(nullptr, fail));
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, runCall(nullptr, []() -> Outcome { throw std::bad_alloc(); }));
}

TEST(CallTest, ErrnoIsAsBeforeTheCall) {
  velmo_error error{};
  errno = EXDEV;
  EXPECT_EQ(VELMO_OK, runCall(&error, [] {
              errno = ENOENT;
              return succeed();
            }));
  EXPECT_EQ(EXDEV, errno);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, runCall(&error, [] {
              errno = ENOENT;
              return fail();
            }));
  EXPECT_EQ(EXDEV, errno);
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, runCall(&error, []() -> Outcome {
              errno = ENOENT;
              throw std::bad_alloc();
            }));
  EXPECT_EQ(EXDEV, errno);
}

TEST(CallTest, CancellationIsOffDuringTheCallOnly) {
  int during = PTHREAD_CANCEL_ENABLE;
  EXPECT_EQ(VELMO_OK, runCall(nullptr, [&during] {
              during = cancellation();
              return succeed();
            }));
  EXPECT_EQ(PTHREAD_CANCEL_DISABLE, during);
  EXPECT_EQ(PTHREAD_CANCEL_ENABLE, cancellation());
}

TEST(CallTest, CancellationIsOnAgainAfterAFailure) {
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, runCall(nullptr, fail));
  EXPECT_EQ(PTHREAD_CANCEL_ENABLE, cancellation());
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, runCall(nullptr, []() -> Outcome { throw std::bad_alloc(); }));
  EXPECT_EQ(PTHREAD_CANCEL_ENABLE, cancellation());
}

TEST(CallTest, CancellationThatTheProgramDisabledStaysDisabled) {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  EXPECT_EQ(VELMO_OK, runCall(nullptr, succeed));
  EXPECT_EQ(PTHREAD_CANCEL_DISABLE, cancellation());
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

TEST(CallTest, CancelledThreadFinishesTheCall) {
  bool isFinished = false;
  std::thread([&isFinished] {
    pthread_cancel(pthread_self());
    const velmo_status status = runCall(nullptr, [&isFinished] {
      pthread_testcancel();
      isFinished = true;
      return succeed();
    });
    EXPECT_EQ(VELMO_OK, status);
  }).join();
  EXPECT_TRUE(isFinished);
}

TEST(CallTest, ExceptionIsOutOfMemoryAndDoesNotLeave) {
  expectOutOfMemory(std::bad_alloc());
  expectOutOfMemory(std::length_error("basic_string"));
  expectOutOfMemory(std::runtime_error("another"));
  expectOutOfMemory(1);
}

TEST(CallTest, MemoryThatRunsOutForGoodIsDescribed) {
  velmo_error error{};
  velmo::test::g_failsForGood = true;
  velmo::test::g_untilFailure = 0;
  const velmo_status status = runCall(&error, [] {
    return Outcome(Fault{Problem::ArgumentMissing, std::string(100, 'x')});
  });
  velmo::test::g_failsForGood = false;
  velmo::test::g_untilFailure = -1;
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, status);
  EXPECT_STREQ("out of memory", error.message);
}

}  // namespace
