#ifndef VELMO_FAILURE_H
#define VELMO_FAILURE_H

#include <optional>
#include <string>

namespace brix::velmo {

/// The steps of a submission by file that can fail, and the subject that each failure names.
enum class Step {
  TakeClass,           ///< none: the caller gave no priority class
  TakeCommand,         ///< none: the caller gave no command
  ReadKey,             ///< the variable of the environment
  LoadHomePriorities,  ///< the file
  FindClass,           ///< the name of the priority class
  FindAdjustment,      ///< the name of the adjustment
  WaitForJobLock,      ///< the message of the exception
  TakeJobLock,         ///< the counter file
  ParseJobCounter,     ///< none
  WriteJobCounter,     ///< the new copy of the counter file
  ReadServerIdentity,  ///< the message of the exception
  LockSemaphore,       ///< none
  UnlockSemaphore,     ///< none
  GetSegment,          ///< the key
  AttachSegment,       ///< the identifier of the segment
  DetachSegment,       ///< the identifier of the segment
  WriteTemporaryFile,  ///< the file
  FindFreeName,        ///< the file that the queue has already
  MoveIntoQueue,       ///< the temporary file; the target is the file in the queue
};

/// A failure as a value: the step that fails does not log it.
struct Failure {
  Step step;
  std::string subject = {};
  int error = 0;  ///< errno of the call that failed; 0 if it set none, or none was made
  std::string target = {};
};

/// Nothing on success.
using Outcome = std::optional<Failure>;

}  // namespace brix::velmo

#endif
