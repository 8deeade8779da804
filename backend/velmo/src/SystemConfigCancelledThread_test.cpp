// A thread that is cancelled while it reads the file. A cancellation is not a C++ exception, but
// unwinds the same frames.

#include <gtest/gtest.h>
#include <pthread.h>

#include <string>

#include "ModulesFile.h"
#include "NamedPipe.h"
#include "SystemConfig.h"

namespace {

using velmo::test::NamedPipe;

class SystemConfigCancelledThreadTest : public velmo::test::ModulesFileTest {};

TEST_F(SystemConfigCancelledThreadTest, ThreadCanBeCancelledWhileItWaitsForAPipe) {
  const NamedPipe pipe(directory.path("pipe"));
  pipe.write("<system>");
  const std::size_t before = velmo::test::openDescriptors();
  const auto readPipe = [](void* path) -> void* {
    const SystemConfig config(*static_cast<std::string*>(path));
    return nullptr;
  };
  std::string path = pipe.path();
  pthread_t reader{};
  ASSERT_EQ(0, pthread_create(&reader, nullptr, readPipe, &path));
  pipe.waitUntilRead();
  EXPECT_EQ(0, pthread_cancel(reader));
  void* result = nullptr;
  EXPECT_EQ(0, pthread_join(reader, &result));
  EXPECT_EQ(PTHREAD_CANCELED, result);
  EXPECT_EQ(before, velmo::test::openDescriptors());
}

}  // namespace
