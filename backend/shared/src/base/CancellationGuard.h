#ifndef VELMO_CANCELLATIONGUARD_H
#define VELMO_CANCELLATIONGUARD_H

#include <pthread.h>

namespace brix::imutils {

/// Holds back a cancellation of the calling thread while the guard lives. The thread acts on it at
/// the next cancellation point after that.
///
/// open(), close() and write() are cancellation points: a thread that is cancelled there loses the
/// descriptor or the lock file that the call has just created. A cancellation in a destructor ends
/// the process.
///
/// clang takes the functions of <cstdio> for functions that never throw: a thread that is cancelled
/// in one of them, while a frame of ours has an object to destroy, ends the process.
///
/// Guards are local variables and may be nested. A guard makes no system call.
class CancellationGuard {
 public:
  CancellationGuard() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before);
  }

  CancellationGuard(const CancellationGuard&) = delete;
  CancellationGuard& operator=(const CancellationGuard&) = delete;

  ~CancellationGuard() {
    pthread_setcancelstate(m_before, nullptr);
  }

 private:
  int m_before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace brix::imutils

#endif
