#ifndef VELMO_TEST_FAKELIBRARYTEST_H
#define VELMO_TEST_FAKELIBRARYTEST_H

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "FakeLibrary.h"
#include "ReplacedAllocation.h"
#include "velmo.hpp"

namespace velmo::test {

/// Tests of velmo.hpp over a FakeLibrary. At the end of each, all handles are closed.
class FakeLibraryTest : public testing::Test {
 protected:
  FakeLibraryTest() {
    library = FakeLibrary();
  }

  ~FakeLibraryTest() override {
    EXPECT_EQ(0, library.installations);
    EXPECT_EQ(0, library.connections);
    EXPECT_EQ(0, library.listings);
  }

  FakeLibrary& library = fakeLibrary();
};

/// Lets the next allocation fail, alone or with all after it.
inline void failAllocation() {
  g_failsForGood = false;
  g_untilFailure = 0;
}
inline void failAllocations() {
  g_failsForGood = true;
  g_untilFailure = 0;
}

/// Lets all allocations succeed again.
inline void restoreAllocations() {
  g_untilFailure = -1;
}

/// What `call` throws, as "STATUS: TEXT", with "in doubt, " before an InDoubt; "bad_alloc", or
/// "nothing".
template <typename Call>
std::string thrownBy(const Call& call) {
  const auto textOf = [](const Error& error) {
    return std::to_string(static_cast<int>(error.status())) + ": " + error.what();
  };
  try {
    call();
  } catch (const InDoubt& doubt) {
    return "in doubt, " + textOf(doubt);
  } catch (const Error& error) {
    return textOf(error);
  } catch (const std::bad_alloc&) {
    return "bad_alloc";
  }
  return "nothing";
}

}  // namespace velmo::test

#endif
