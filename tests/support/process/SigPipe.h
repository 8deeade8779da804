#ifndef VELMO_TEST_SIGPIPE_H
#define VELMO_TEST_SIGPIPE_H

#include <pthread.h>

#include <csignal>

namespace velmo::test {

/// Blocks or unblocks SIGPIPE in this thread.
inline void blockSigPipe(bool blocked) {
  sigset_t set{};
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
}

/// Whether this thread blocks SIGPIPE.
inline bool blocksSigPipe() {
  sigset_t mask{};
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, SIGPIPE) == 1;
}

/// Whether a SIGPIPE is pending in this thread or its process.
inline bool isSigPipePending() {
  sigset_t pending{};
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace velmo::test

#endif
