#include "SigPipeGuard.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <ctime>
#include <exception>

namespace brix::velmo {

namespace {

constexpr std::size_t kKernelSignalSetSize = _NSIG / 8;

// The kernel marks the SIGPIPE of a failed write as sent by the process itself.
bool isOfAFailedWrite(const siginfo_t& signal) {
  return signal.si_code == SI_USER && signal.si_pid == getpid();
}

// Calls the kernel directly: the C library's function makes a signal from raise look like one from
// a failed write, and is a cancellation point, which a destructor must not reach.
bool takeAtOnce(const sigset_t& signals, siginfo_t& taken) {
  const timespec atOnce{};
  return syscall(SYS_rt_sigtimedwait, &signals, &taken, &atOnce, kKernelSignalSetSize) > 0;
}

bool isPending(int signal) {
  sigset_t pending{};
  return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

}  // namespace

SigPipeGuard::SigPipeGuard(FailedSend failedSend)
    : m_failedSend(failedSend), m_exceptions(std::uncaught_exceptions()) {
  sigemptyset(&m_sigPipe);
  sigaddset(&m_sigPipe, SIGPIPE);
  sigset_t before{};
  pthread_sigmask(SIG_BLOCK, &m_sigPipe, &before);
  m_wasBlocked = sigismember(&before, SIGPIPE) == 1;
  if (m_wasBlocked && m_failedSend == FailedSend::MayBeRepeated) {
    m_wasPending = isPending(SIGPIPE);
  }
}

SigPipeGuard::~SigPipeGuard() {
  if (hasToLook()) {
    takeBack();
  }
  if (!m_wasBlocked) {
    pthread_sigmask(SIG_UNBLOCK, &m_sigPipe, nullptr);
  }
}

bool SigPipeGuard::hasToLook() const {
  return m_failedSend == FailedSend::MayBeRepeated ? !m_wasPending : sendThrew();
}

bool SigPipeGuard::sendThrew() const {
  return std::uncaught_exceptions() > m_exceptions;
}

// The kernel returns signals of the thread before those of the process, so the first is the SIGPIPE
// of the failed write. If SIGPIPE was not blocked, none was pending before.
void SigPipeGuard::takeBack() const {
  siginfo_t signal{};
  if (!takeAtOnce(m_sigPipe, signal)) {
    return;
  }
  if (m_wasBlocked && !isOfAFailedWrite(signal)) {
    // It was pending before, and the SIGPIPE of the write merged with it.
    pthread_kill(pthread_self(), SIGPIPE);
  }
}

}  // namespace brix::velmo
