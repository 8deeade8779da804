#ifndef VELMO_TEST_TIMERSIGNALS_H
#define VELMO_TEST_TIMERSIGNALS_H

#include <sys/time.h>

#include <csignal>

namespace velmo::test {

/// Interrupts this process with SIGALRM every 2 ms, without a restart of calls, until the object is
/// destroyed.
class TimerSignals {
 public:
  TimerSignals() {
    count() = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { count() = count() + 1; };
    sigaction(SIGALRM, &action, &m_before);
    const timeval interval{0, 2000};
    const itimerval timer{interval, interval};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }

  TimerSignals(const TimerSignals&) = delete;
  TimerSignals& operator=(const TimerSignals&) = delete;

  ~TimerSignals() {
    const itimerval off{};
    setitimer(ITIMER_REAL, &off, nullptr);
    sigaction(SIGALRM, &m_before, nullptr);
  }

  /// How many were delivered.
  int delivered() const {
    return count();
  }

 private:
  static volatile std::sig_atomic_t& count() {
    static volatile std::sig_atomic_t number = 0;
    return number;
  }

  struct sigaction m_before {};
};

}  // namespace velmo::test

#endif
