#include "Descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <type_traits>
#include <utility>

namespace {

using velmo::client::Descriptor;

int openNull() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool isOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) >= 0;
}

static_assert(!std::is_copy_constructible_v<Descriptor>);
static_assert(!std::is_copy_assignable_v<Descriptor>);

TEST(DescriptorTest, OwnsNoneAtFirst) {
  const Descriptor descriptor;
  EXPECT_FALSE(descriptor.isOpen());
  EXPECT_LT(descriptor.get(), 0);
}

TEST(DescriptorTest, NumberBelowZeroIsNone) {
  EXPECT_FALSE(Descriptor(-1).isOpen());
}

TEST(DescriptorTest, DescriptorZeroIsOne) {
  const int before = dup(0);
  dup2(openNull(), 0);
  { EXPECT_TRUE(Descriptor(0).isOpen()); }
  EXPECT_FALSE(isOpen(0));
  dup2(before, 0);
  close(before);
}

TEST(DescriptorTest, IsClosedAtTheEnd) {
  const int number = openNull();
  {
    const Descriptor descriptor(number);
    EXPECT_TRUE(descriptor.isOpen());
    EXPECT_EQ(number, descriptor.get());
  }
  EXPECT_FALSE(isOpen(number));
}

TEST(DescriptorTest, IsClosedOnce) {
  const int number = openNull();
  Descriptor descriptor(number);
  EXPECT_EQ(0, descriptor.close());
  EXPECT_FALSE(descriptor.isOpen());
  EXPECT_FALSE(isOpen(number));
  EXPECT_EQ(0, descriptor.close());
}

TEST(DescriptorTest, FailureToCloseIsAnErrno) {
  const int number = openNull();
  close(number);
  Descriptor descriptor(number);
  EXPECT_EQ(EBADF, descriptor.close());
  EXPECT_FALSE(descriptor.isOpen());
}

TEST(DescriptorTest, MovesToANewOwner) {
  Descriptor first(openNull());
  const int number = first.get();
  const Descriptor second(std::move(first));
  EXPECT_EQ(number, second.get());
  EXPECT_FALSE(first.isOpen());  // NOLINT(bugprone-use-after-move): the rule of this test
}

TEST(DescriptorTest, AssignmentTakesOverAndClosesTheOldOne) {
  const int oldNumber = openNull();
  const int newNumber = openNull();
  Descriptor descriptor(oldNumber);
  descriptor = Descriptor(newNumber);
  EXPECT_EQ(newNumber, descriptor.get());
  EXPECT_TRUE(isOpen(newNumber));
  EXPECT_FALSE(isOpen(oldNumber));
}

}  // namespace
