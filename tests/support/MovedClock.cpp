#include "MovedClock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>

#include "PlatformCalls.h"

namespace velmo::test {

MovedClock::MovedClock(time_t now) : m_now(now) {
  platform().time.setFake([this](time_t* result) {
    if (result != nullptr) {
      *result = m_now;
    }
    return m_now;
  });
}

MovedClock::~MovedClock() {
  platform().time.setFake(nullptr);
}

void setFileTime(const char* path, time_t modified) {
  const std::array<timespec, 2> times{timespec{modified, 0}, timespec{modified, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path, times.data(), 0)) << path;
}

}  // namespace velmo::test
