#ifndef VELMO_TEST_STOPWATCH_H
#define VELMO_TEST_STOPWATCH_H

#include <chrono>

namespace velmo::test {

/// Measures the time since its construction.
class Stopwatch {
 public:
  /// Whole milliseconds so far.
  long elapsedMs() const {
    const auto elapsed = std::chrono::steady_clock::now() - m_start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
  }

 private:
  std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace velmo::test

#endif
