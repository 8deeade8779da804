#include "ProcessMark.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <functional>

namespace {

using velmo::client::ProcessMark;

enum class Kernel { Clears, Refuses, AcceptsAnything };

Kernel g_kernel = Kernel::Clears;

}  // namespace

extern "C" int madvise(void* address, std::size_t size, int advice) noexcept {
  using Function = int (*)(void*, std::size_t, int);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "madvise"));
  if (g_kernel == Kernel::AcceptsAnything) {
    return 0;
  }
  if (g_kernel == Kernel::Refuses && advice == MADV_WIPEONFORK) {
    errno = EINVAL;
    return -1;
  }
  return real(address, size, advice);
}

namespace {

bool isTrueInAChild(const std::function<bool()>& question) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(question() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status) == 1;
}

/// What the kernel makes of the wish that it clear memory in children.
class ProcessMarkTest : public testing::TestWithParam<Kernel> {
 protected:
  ProcessMarkTest() {
    g_kernel = GetParam();
  }

  ~ProcessMarkTest() override {
    g_kernel = Kernel::Clears;
  }
};

TEST_P(ProcessMarkTest, MakerIsKnownAgainAndAgain) {
  const ProcessMark mark;
  EXPECT_TRUE(mark.isOfThisProcess());
  EXPECT_FALSE(isTrueInAChild([] { return false; }));
  EXPECT_TRUE(mark.isOfThisProcess());
}

TEST_P(ProcessMarkTest, ChildAndGrandchildAreNotTheMaker) {
  const ProcessMark mark;
  EXPECT_FALSE(isTrueInAChild([&] { return mark.isOfThisProcess(); }));
  EXPECT_FALSE(isTrueInAChild([&] {
    return mark.isOfThisProcess() || isTrueInAChild([&] { return mark.isOfThisProcess(); });
  }));
}

TEST_P(ProcessMarkTest, ChildMayMakeOneItself) {
  EXPECT_TRUE(isTrueInAChild([] {
    const ProcessMark mark;
    return mark.isOfThisProcess() && !isTrueInAChild([&] { return mark.isOfThisProcess(); });
  }));
}

INSTANTIATE_TEST_SUITE_P(Kernel, ProcessMarkTest,
                         testing::Values(Kernel::Clears, Kernel::Refuses, Kernel::AcceptsAnything));

}  // namespace
