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

bool g_cannotClear = false;

}  // namespace

extern "C" int madvise(void* address, std::size_t size, int advice) noexcept {
  using Function = int (*)(void*, std::size_t, int);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "madvise"));
  if (g_cannotClear && advice == MADV_WIPEONFORK) {
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

/// Whether the kernel cannot clear memory in children.
class ProcessMarkTest : public testing::TestWithParam<bool> {
 protected:
  ProcessMarkTest() {
    g_cannotClear = GetParam();
  }

  ~ProcessMarkTest() override {
    g_cannotClear = false;
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

INSTANTIATE_TEST_SUITE_P(Kernel, ProcessMarkTest, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& run) {
                           return run.param ? "CannotClear" : "Clears";
                         });

}  // namespace
