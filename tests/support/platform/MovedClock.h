#ifndef VELMO_TEST_MOVEDCLOCK_H
#define VELMO_TEST_MOVEDCLOCK_H

#include <ctime>

namespace velmo::test {

/// Makes `time` return a time that the test chooses, until the object is destroyed.
class MovedClock {
 public:
  explicit MovedClock(time_t now);
  ~MovedClock();
  MovedClock(const MovedClock&) = delete;
  MovedClock& operator=(const MovedClock&) = delete;

  void set(time_t now) {
    m_now = now;
  }

  void advance(long seconds) {
    m_now += seconds;
  }

  time_t now() const {
    return m_now;
  }

 private:
  time_t m_now;
};

/// Gives files the time of a moved clock instead of the kernel's, until the object is destroyed: at
/// `utime`, and when a written file is closed.
class MovedFileTimes {
 public:
  explicit MovedFileTimes(const MovedClock& clock);
  ~MovedFileTimes();
  MovedFileTimes(const MovedFileTimes&) = delete;
  MovedFileTimes& operator=(const MovedFileTimes&) = delete;

  /// Does what `utime` does without times, for a test that fakes it.
  int touch(const char* path) const;

 private:
  const MovedClock& m_clock;
};

/// Sets a file's access and modification times.
void setFileTime(const char* path, time_t modified);

/// A file's modification time; fails the test if there is no file.
time_t fileTime(const char* path);

}  // namespace velmo::test

#endif
