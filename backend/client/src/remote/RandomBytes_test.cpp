#include "RandomBytes.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <functional>
#include <string>

namespace {

using velmo::client::fillRandom;
using velmo::client::Outcome;
using velmo::client::Problem;

std::function<ssize_t(void*, std::size_t, unsigned)> g_fake;

}  // namespace

extern "C" ssize_t getrandom(void* buffer, std::size_t size, unsigned flags) {
  using Function = ssize_t (*)(void*, std::size_t, unsigned);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getrandom"));
  return g_fake ? g_fake(buffer, size, flags) : real(buffer, size, flags);
}

namespace {

class RandomBytesTest : public testing::Test {
 protected:
  ~RandomBytesTest() override {
    g_fake = nullptr;
  }
};

TEST_F(RandomBytesTest, EachTimeAreOthers) {
  std::array<std::array<char, 16>, 2> bytes{};
  ASSERT_FALSE(fillRandom(bytes[0].data(), bytes[0].size()));
  ASSERT_FALSE(fillRandom(bytes[1].data(), bytes[1].size()));
  EXPECT_NE(bytes[0], bytes[1]);
}

TEST_F(RandomBytesTest, PartsAndSignalsAreGoneOver) {
  int calls = 0;
  g_fake = [&calls](void* buffer, std::size_t size, unsigned flags) -> ssize_t {
    EXPECT_EQ(unsigned{GRND_NONBLOCK}, flags);
    if (++calls % 2 == 1) {
      errno = EINTR;
      return -1;
    }
    EXPECT_LE(1U, size);
    *static_cast<char*>(buffer) = static_cast<char>('a' + calls);
    return 1;
  };
  std::string bytes(3, '\0');
  ASSERT_FALSE(fillRandom(bytes.data(), bytes.size()));
  EXPECT_EQ("ceg", bytes);
}

TEST_F(RandomBytesTest, KernelWithoutAnyIsAFailure) {
  g_fake = [](void* /*buffer*/, std::size_t /*size*/, unsigned /*flags*/) -> ssize_t {
    errno = EAGAIN;
    return -1;
  };
  char byte = 0;
  const Outcome outcome = fillRandom(&byte, 1);
  ASSERT_TRUE(outcome);
  EXPECT_EQ(Problem::NoRandomBytes, outcome->problem);
  EXPECT_EQ(EAGAIN, outcome->systemError);
}

}  // namespace
