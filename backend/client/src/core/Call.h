#ifndef VELMO_CALL_H
#define VELMO_CALL_H

#include <cerrno>
#include <cstddef>

#include "CancellationGuard.h"
#include "Fault.h"

namespace velmo::client {

/// What every call of the library restores at its end: the cancellation state of its thread, and
/// errno.
class Call {
 public:
  Call() = default;
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  ~Call() {
    errno = m_errno;
  }

 private:
  int m_errno = errno;
  brix::imutils::CancellationGuard m_guard;
};

/// Runs the body of a call, which returns an Outcome, and turns its failure into a status and a
/// text. Memory that runs out is a failure like another; no exception leaves.
template <typename Body>
velmo_status runCall(velmo_error* error, Body body) noexcept {
  const Call call;
  try {
    const Outcome outcome = body();
    if (!outcome) {
      return VELMO_OK;
    }
    describe(*outcome, error);
    return statusOf(*outcome);
  } catch (...) {  // std::bad_alloc, or std::length_error for a text beyond all memory
    const Fault fault{Problem::OutOfMemory};
    describe(fault, error);
    return statusOf(fault);
  }
}

}  // namespace velmo::client

#endif
