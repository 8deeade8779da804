// A thread that is cancelled while it reads the file. A cancellation is not a C++ exception, but
// unwinds the same frames.

#include <gtest/gtest.h>
#include <pthread.h>

#include <string>

#include "ModulesFile.h"
#include "NamedPipe.h"
#include "ParserOutcome.h"
#include "SystemConfig.h"

namespace {

using velmo::test::NamedPipe;

class SystemConfigCancelledThreadTest : public velmo::test::ModulesFileTest {};

TEST_F(SystemConfigCancelledThreadTest, CancellationWaitsUntilADeepFileIsReadAndReleased) {
  const std::size_t before = velmo::test::openDescriptors();
  NamedPipe pipe(directory.path("pipe"));
  pipe.write("<system>");
  const auto readPipe = [](void* path) -> void* {
    const SystemConfig config(*static_cast<std::string*>(path));
    pthread_testcancel();
    return nullptr;
  };
  std::string path = pipe.path();
  pthread_t reader{};
  ASSERT_EQ(0, pthread_create(&reader, nullptr, readPipe, &path));
  pipe.waitUntilRead();
  EXPECT_EQ(0, pthread_cancel(reader));
  for (int i = 0; i < 100; ++i) {
    pipe.write(velmo::test::repeated("<a>", 3000));
  }
  for (int i = 0; i < 100; ++i) {
    pipe.write(velmo::test::repeated("</a>", 3000));
  }
  pipe.write("</system>");
  pipe.closeWriter();
  void* result = nullptr;
  EXPECT_EQ(0, pthread_join(reader, &result));
  EXPECT_EQ(PTHREAD_CANCELED, result);
  EXPECT_EQ(before, velmo::test::openDescriptors());
}

}  // namespace
