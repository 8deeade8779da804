// A thread of the program that is cancelled while it is in the library. That is no C++ exception,
// but it runs through the same frames.

#include <gtest/gtest.h>
#include <pthread.h>
#include <velmo/Config.h>

#include <string>

#include "PlatformCalls.h"

namespace {

using brix::imutils::Config;
using velmo::test::FakeScope;
using velmo::test::platform;

void* cancelThenLoad(void* config) {
  pthread_cancel(pthread_self());
  static_cast<Config*>(config)->load();
  return nullptr;
}

TEST(CancelledThreadTest, LoadDoesNotTakeACancellationForABadFile) {
  const FakeScope fakes;
  platform().fopen.setFake([](const char* path, const char* mode) {
    pthread_testcancel();
    return platform().fopen.real(path, mode);
  });
  Config config(std::string("/dev/null"));
  pthread_t thread{};
  ASSERT_EQ(0, pthread_create(&thread, nullptr, cancelThenLoad, &config));
  void* result = nullptr;
  ASSERT_EQ(0, pthread_join(thread, &result));
  EXPECT_EQ(PTHREAD_CANCELED, result);
}

}  // namespace
