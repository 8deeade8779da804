#ifndef VELMO_SIGPIPEGUARD_H
#define VELMO_SIGPIPEGUARD_H

#include <csignal>

namespace brix::velmo {

/// Keeps SIGPIPE from the calling thread while it sends to a peer that may have gone, and leaves
/// the thread's signal mask as it was. The networking library sends without MSG_NOSIGNAL and blocks
/// SIGPIPE only in the thread that loads it and in threads started later, so a thread that was
/// there before would end the process. Dispositions, which belong to the whole process, are not
/// touched.
///
/// The guard stands on the stack around the send, and the send reports its failure by an
/// exception that passes the guard. The SIGPIPE of that send is then taken back, so that the
/// program does not find it when it unblocks the signal.
///
/// A thread that blocks SIGPIPE already costs one system call. There, a SIGPIPE that was waiting
/// before a send that fails is kept if raise, pthread_kill, sigqueue or another process sent it;
/// one left by an earlier failed write of this very thread cannot be told from the new one, and
/// goes with it.
class SigPipeGuard {
 public:
  /// Blocks SIGPIPE in the calling thread. Never fails.
  SigPipeGuard();

  SigPipeGuard(const SigPipeGuard&) = delete;
  SigPipeGuard& operator=(const SigPipeGuard&) = delete;

  /// Takes back a SIGPIPE that came meanwhile, and unblocks the signal if the constructor blocked
  /// it. Belongs to the thread of the constructor. Changes errno at most.
  ~SigPipeGuard();

 private:
  bool sendFailed() const;
  void takeBack() const;

  sigset_t m_sigPipe{};
  bool m_wasBlocked = false;
  int m_exceptions;  // under way when the guard was made
};

}  // namespace brix::velmo

#endif
