#include "SigPipeGuard.h"

#include <pthread.h>
#include <unistd.h>

#include <ctime>
#include <exception>

namespace brix::velmo {

namespace {

// The kernel marks the SIGPIPE of a failed write as sent by the process itself.
bool isOfAFailedWrite(const siginfo_t& signal) {
  return signal.si_code == SI_USER && signal.si_pid == getpid();
}

// sigtimedwait is a cancellation point, and a destructor is no place to be cancelled in.
class CancellationOff {
 public:
  CancellationOff() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before);
  }
  ~CancellationOff() {
    pthread_setcancelstate(m_before, nullptr);
  }
  CancellationOff(const CancellationOff&) = delete;
  CancellationOff& operator=(const CancellationOff&) = delete;

 private:
  int m_before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace

SigPipeGuard::SigPipeGuard()
    : m_sigPipe{}, m_wasBlocked(false), m_exceptions(std::uncaught_exceptions()) {
  sigemptyset(&m_sigPipe);
  sigaddset(&m_sigPipe, SIGPIPE);
  sigset_t before{};
  pthread_sigmask(SIG_BLOCK, &m_sigPipe, &before);
  m_wasBlocked = sigismember(&before, SIGPIPE) == 1;
}

SigPipeGuard::~SigPipeGuard() {
  if (sendFailed()) {
    takeBack();
  }
  if (!m_wasBlocked) {
    pthread_sigmask(SIG_UNBLOCK, &m_sigPipe, nullptr);
  }
}

bool SigPipeGuard::sendFailed() const {
  return std::uncaught_exceptions() > m_exceptions;
}

// A signal of the thread itself comes before one of the process, so the SIGPIPE of the failed write
// is the first to be had. Where SIGPIPE was not blocked, none can have been waiting before.
void SigPipeGuard::takeBack() const {
  const CancellationOff cancellationOff;
  const timespec atOnce{};
  siginfo_t signal{};
  if (sigtimedwait(&m_sigPipe, &signal, &atOnce) != SIGPIPE) {
    return;
  }
  if (m_wasBlocked && !isOfAFailedWrite(signal)) {
    pthread_kill(pthread_self(), SIGPIPE);  // waited before: it merges with that of the write
  }
}

}  // namespace brix::velmo
