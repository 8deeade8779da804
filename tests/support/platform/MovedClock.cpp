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

namespace {

std::array<timespec, 2> bothTimes(time_t time) {
  return {timespec{time, 0}, timespec{time, 0}};
}

bool isWritable(int descriptor) {
  return (fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY;
}

}  // namespace

MovedFileTimes::MovedFileTimes(const MovedClock& clock) : m_clock(clock) {
  platform().utime.setFake([this](const char* path, const utimbuf* times) {
    if (times != nullptr) {
      return platform().utime.real(path, times);
    }
    return touch(path);
  });
  platform().fclose.setFake([this](FILE* stream) {
    if (isWritable(fileno(stream))) {
      std::fflush(stream);  // a later write would set the kernel's time again
      futimens(fileno(stream), bothTimes(m_clock.now()).data());
    }
    return platform().fclose.real(stream);
  });
}

MovedFileTimes::~MovedFileTimes() {
  platform().utime.setFake(nullptr);
  platform().fclose.setFake(nullptr);
}

int MovedFileTimes::touch(const char* path) const {
  return utimensat(AT_FDCWD, path, bothTimes(m_clock.now()).data(), 0);
}

void setFileTime(const char* path, time_t modified) {
  ASSERT_EQ(0, utimensat(AT_FDCWD, path, bothTimes(modified).data(), 0)) << path;
}

time_t fileTime(const char* path) {
  struct stat status {};
  EXPECT_EQ(0, platform().stat.real(path, &status)) << path;
  return status.st_mtime;
}

}  // namespace velmo::test
