#ifndef VELMO_TEST_SIGNALSTORM_H
#define VELMO_TEST_SIGNALSTORM_H

#include <sys/time.h>

#include <csignal>

namespace velmo::test {

/// Interrupts this thread every 2 ms, with SIGALRM and SIGINT in turn, while it lives. System calls
/// are not restarted.
class SignalStorm {
 public:
  SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int number) {
      if (number == SIGALRM && ++s_count % 2 == 0) {
        raise(SIGINT);
      }
      if (s_flag != nullptr && s_count >= s_ticks) {
        *s_flag = 1;
      }
    };
    sigaction(SIGALRM, &action, &m_alarm);
    sigaction(SIGINT, &action, &m_interrupt);
    setEvery(2000);
  }

  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;

  ~SignalStorm() {
    setEvery(0);
    sigaction(SIGALRM, &m_alarm, nullptr);
    sigaction(SIGINT, &m_interrupt, nullptr);
    s_flag = nullptr;
  }

  /// Sets a flag after so many signals from now. Null: none.
  static void setLater(volatile int* flag, int ticks) {
    s_flag = flag;
    s_ticks = s_count + ticks;
  }

 private:
  static void setEvery(int microseconds) {
    const timeval time{0, microseconds};
    const itimerval timer{time, time};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }

  static inline volatile sig_atomic_t s_count = 0;
  static inline volatile sig_atomic_t s_ticks = 0;
  static inline volatile int* volatile s_flag = nullptr;
  struct sigaction m_alarm {};
  struct sigaction m_interrupt {};
};

}  // namespace velmo::test

#endif
