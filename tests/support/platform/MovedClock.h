#ifndef VELMO_TEST_MOVEDCLOCK_H
#define VELMO_TEST_MOVEDCLOCK_H

#include <ctime>

namespace velmo::test {

/// Answers `time` with a time of the test's choice, until it goes.
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

/// Gives files the time of a moved clock instead of the kernel's, until it goes: files that are
/// touched with `utime`, and files that are written, as they are closed.
class MovedFileTimes {
 public:
  explicit MovedFileTimes(const MovedClock& clock);
  ~MovedFileTimes();
  MovedFileTimes(const MovedFileTimes&) = delete;
  MovedFileTimes& operator=(const MovedFileTimes&) = delete;

  /// What `utime` does without times, for a test that answers it itself.
  int touch(const char* path) const;

 private:
  const MovedClock& m_clock;
};

/// Sets a file's access and modification times.
void setFileTime(const char* path, time_t modified);

/// A file's modification time; fails the test when there is no file.
time_t fileTime(const char* path);

}  // namespace velmo::test

#endif
