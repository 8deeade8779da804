#include "SystemError.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace velmo::tools {
namespace {

TEST(SystemErrorTest, TextNamesWhatFailedAndWhy) {
  errno = ENOENT;
  const std::system_error error = systemError("cannot open x");
  EXPECT_STREQ("cannot open x: No such file or directory", error.what());
  EXPECT_EQ(std::errc::no_such_file_or_directory, error.code());
}

}  // namespace
}  // namespace velmo::tools
