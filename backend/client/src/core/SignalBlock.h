#ifndef VELMO_SIGNALBLOCK_H
#define VELMO_SIGNALBLOCK_H

#include <pthread.h>
#include <csignal>

namespace velmo::client {

/// Blocks all signals in the calling thread while the object lives, for work that must not be left
/// half done. Signals that arrive meanwhile are delivered at its end.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_before);
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
