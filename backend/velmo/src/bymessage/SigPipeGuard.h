#ifndef VELMO_SIGPIPEGUARD_H
#define VELMO_SIGPIPEGUARD_H

#include <csignal>

namespace brix::velmo {

/// Keeps SIGPIPE from the calling thread while it sends to a peer that may have closed the
/// connection, and restores the thread's signal mask. The networking library sends without
/// MSG_NOSIGNAL and blocks SIGPIPE only in the thread that loads it and in threads started later,
/// so a thread that was there before would end the process. Dispositions, which belong to the whole
/// process, are not touched.
///
/// The guard is an object on the stack around the send. It takes back the SIGPIPE of a send that
/// failed, so that the program does not receive it when it unblocks the signal.
class SigPipeGuard {
 public:
  /// How the guard learns that a send failed.
  enum class FailedSend {
    /// An exception passes the guard. A thread that blocks SIGPIPE already then costs one system
    /// call. There, a SIGPIPE that was pending before the send is kept if raise, pthread_kill,
    /// sigqueue or another process sent it; a SIGPIPE left by an earlier failed write of this
    /// thread looks the same as the new one, and is taken back with it.
    Throws,
    /// Possibly not at all: the networking library repeats the first write of a handshake on a new
    /// connection, and the exception ends there. The guard looks for a SIGPIPE in any case. In a
    /// thread that blocks SIGPIPE already, it takes it back only if none was pending before. If one
    /// was pending for the whole process, a second one may be pending for the thread afterwards.
    MayBeRepeated,
  };

  /// Blocks SIGPIPE in the calling thread. Never fails.
  explicit SigPipeGuard(FailedSend failedSend = FailedSend::Throws);

  SigPipeGuard(const SigPipeGuard&) = delete;
  SigPipeGuard& operator=(const SigPipeGuard&) = delete;

  /// Takes back a SIGPIPE that was raised since the constructor, and unblocks the signal if the
  /// constructor blocked it. Runs in the thread of the constructor. May change errno, and nothing
  /// else.
  ~SigPipeGuard();

 private:
  bool hasToLook() const;
  bool sendThrew() const;
  void takeBack() const;

  FailedSend m_failedSend;
  sigset_t m_sigPipe{};
  bool m_wasBlocked = false;
  bool m_wasPending = false;
  int m_exceptions;  // in flight when the guard was made
};

}  // namespace brix::velmo

#endif
