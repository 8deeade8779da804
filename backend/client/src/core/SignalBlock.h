#ifndef VELMO_SIGNALBLOCK_H
#define VELMO_SIGNALBLOCK_H

#include <pthread.h>
#include <csignal>
#include <initializer_list>

namespace velmo::client {

/// Blocks signals in the calling thread while the object lives, for work that must not be left half
/// done. Signals that arrive meanwhile are delivered at its end. A signal that reports a fault of
/// the thread itself, such as SIGSEGV, is not blocked.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t signals;
    sigfillset(&signals);
    // Deliberate: if a blocked signal of these arises, the kernel ends the process without calling
    // the program's handler. A sandbox, for example, handles system calls with SIGSYS.
    for (const int fault : {SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP}) {
      sigdelset(&signals, fault);
    }
    pthread_sigmask(SIG_BLOCK, &signals, &m_before);
  }

  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;

  ~SignalBlock() {
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
  }

 private:
  sigset_t m_before{};
};

}  // namespace velmo::client

#endif
