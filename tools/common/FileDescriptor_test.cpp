#include "FileDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <thread>
#include <utility>

namespace velmo::tools {
namespace {

bool isOpenHere(int descriptor) {
  return fcntl(descriptor, F_GETFD) >= 0;
}

std::array<int, 2> socketPair() {
  std::array<int, 2> ends{};
  EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()));
  return ends;
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
  EXPECT_FALSE(first.isOpen());  // NOLINT(bugprone-use-after-move): that is the rule
}

TEST(FileDescriptorTest, NegativeNumberIsNotOpen) {
  EXPECT_FALSE(FileDescriptor(-1).isOpen());
}

TEST(FileDescriptorTest, WholeTextIsWrittenAlsoIfOneCallTakesAPartOfIt) {
  const std::string text(1000000, 'x');
  const auto ends = socketPair();
  const FileDescriptor reader(ends[0]);
  const int leastBuffer = 1;
  setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &leastBuffer, sizeof leastBuffer);
  std::string received;
  std::thread reading([&] {
    std::array<char, 4096> buffer{};
    for (ssize_t count = 0; (count = read(reader.get(), buffer.data(), buffer.size())) > 0;) {
      received.append(buffer.data(), static_cast<std::size_t>(count));
    }
  });
  {
    const FileDescriptor writer(ends[1]);
    EXPECT_TRUE(writeWhole(writer.get(), text));
  }
  reading.join();
  EXPECT_EQ(text, received);
}

TEST(FileDescriptorTest, WriteThatFailsReportsItsErrorNumber) {
  const FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  EXPECT_FALSE(writeWhole(full.get(), "x"));
  EXPECT_EQ(ENOSPC, errno);
  EXPECT_TRUE(writeWhole(full.get(), ""));
}

}  // namespace
}  // namespace velmo::tools
