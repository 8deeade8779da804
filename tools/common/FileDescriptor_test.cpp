#include "FileDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <utility>

namespace velmo::tools {
namespace {

bool isOpenHere(int descriptor) {
  return fcntl(descriptor, F_GETFD) >= 0;
}

TEST(FileDescriptorTest, DescriptorIsClosedWithTheObject) {
  const int number = dup(0);
  {
    const FileDescriptor descriptor(number);
    EXPECT_TRUE(descriptor.isOpen());
    EXPECT_EQ(number, descriptor.get());
  }
  EXPECT_FALSE(isOpenHere(number));
}

TEST(FileDescriptorTest, MovedDescriptorBelongsToTheNewObjectAlone) {
  FileDescriptor first(dup(0));
  const int number = first.get();
  {
    const FileDescriptor second(std::move(first));
    EXPECT_EQ(number, second.get());
  }
  EXPECT_FALSE(isOpenHere(number));
  EXPECT_FALSE(first.isOpen());  // NOLINT: that is the rule
}

TEST(FileDescriptorTest, NegativeNumberIsNotOpen) {
  EXPECT_FALSE(FileDescriptor(-1).isOpen());
}

TEST(FileDescriptorTest, TextIsWrittenUnchanged) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  const FileDescriptor reader(ends[0]);
  const FileDescriptor writer(ends[1]);
  EXPECT_TRUE(writeWhole(writer.get(), "a\nb"));
  std::array<char, 8> buffer{};
  EXPECT_EQ(3, read(reader.get(), buffer.data(), buffer.size()));
  EXPECT_STREQ("a\nb", buffer.data());
}

// The reader of the pipe in the next tests.
int g_reader = -1;

void drain(int /*signal*/) {
  std::array<char, 65536> buffer{};
  while (read(g_reader, buffer.data(), buffer.size()) > 0) {
  }
}

// Empties the pipe in a moment, while the test waits for room in it.
void drainSoon(const FileDescriptor& reader) {
  g_reader = reader.get();
  struct sigaction action {};
  action.sa_handler = drain;
  sigaction(SIGALRM, &action, nullptr);
  const itimerval timer{{0, 0}, {0, 20000}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

TEST(FileDescriptorTest, SignalDoesNotEndAWrite) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK));
  const FileDescriptor reader(ends[0]);
  const FileDescriptor writer(ends[1]);
  while (write(writer.get(), "x", 1) == 1) {
  }
  fcntl(writer.get(), F_SETFL, 0);  // the next write waits
  drainSoon(reader);
  EXPECT_TRUE(writeWhole(writer.get(), "y"));
  signal(SIGALRM, SIG_DFL);
}

TEST(FileDescriptorTest, RestIsWrittenWhenANonBlockingDescriptorTakesMore) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK));
  const FileDescriptor reader(ends[0]);
  const FileDescriptor writer(ends[1]);
  const int capacity = fcntl(writer.get(), F_GETPIPE_SZ);
  drainSoon(reader);
  EXPECT_TRUE(
      writeWhole(writer.get(), std::string(static_cast<std::size_t>(capacity), 'x') + "rest"));
  std::string rest(5, '\0');
  EXPECT_EQ(4, read(reader.get(), rest.data(), rest.size()));
  EXPECT_EQ("rest", rest.substr(0, 4));
  signal(SIGALRM, SIG_DFL);
}

TEST(FileDescriptorTest, WriteThatFailsReportsItsErrorNumber) {
  const FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  EXPECT_FALSE(writeWhole(full.get(), "x"));
  EXPECT_EQ(ENOSPC, errno);
  EXPECT_TRUE(writeWhole(full.get(), ""));
}

}  // namespace
}  // namespace velmo::tools
