#ifndef VELMO_FAULT_H
#define VELMO_FAULT_H

#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "velmo.h"

namespace velmo::client {

/// Everything that can go wrong. The table in Fault.cpp gives each its status and its text, in
/// which {1} is the subject and {2} the detail, and what velmo_check() reports a remedy.
enum class Problem {
  // The caller's mistakes. Subjects are names of arguments or fields.
  ArgumentMissing,      ///< the argument
  ArgumentHasLineFeed,  ///< the argument
  ArgumentHasSlash,     ///< the argument; its text
  ArgumentHasControl,   ///< the argument; its text
  ArgumentHasBlank,     ///< the argument; its text
  ArgumentTooLong,      ///< the argument; its length in bytes
  ArgumentNotUtf8,      ///< the argument
  ArgumentOutOfRange,   ///< the argument; its value
  ArgumentIsDotName,    ///< the argument; its text
  ArgumentNotAbsolute,  ///< the argument; its text
  ArgumentNotStorable,  ///< the argument; its text
  StructTooSmall,       ///< the struct; its size
  StructNotUnderstood,  ///< the struct; its size
  FlagsNotUnderstood,   ///< the flags
  TypeNotSendable,      ///< the type
  TaskNameTooLong,      ///< the length in bytes
  TaskNameAmbiguous,    ///< the name as it would be
  NotATaskName,         ///< the text
  NoUnderscore,         ///< the sub-job
  ConnectionNotUsable,  ///< none
  ConnectionOfParent,   ///< none

  // The operator's turn: what the installation lacks.
  VariableNotSet,           ///< the variable
  VariableNotAbsolute,      ///< the variable; its value
  VariableNotAKey,          ///< the variable; its value
  VariableNotStorable,      ///< the variable; its value
  ClassNotConfigured,       ///< the class; the files searched and the names known
  AdjustmentNotConfigured,  ///< the adjustment; the files searched and the names known
  ClassWithoutNumber,       ///< the class; the file
  AdjustmentWithoutNumber,  ///< the adjustment; the file
  PriorityFilesNotNamed,    ///< none
  PriorityFileUnreadable,   ///< the file
  FileNotRegular,           ///< the file
  ServerFileUnreadable,     ///< the file
  ServerIdentityUnusable,   ///< the file; the identity
  DirectoryMissing,         ///< the variable; the directory
  DifferentFileSystems,     ///< TMP; the queue
  JobCounterUnreadable,     ///< the file
  JobCounterNotANumber,     ///< the file
  ModulesUnreadable,        ///< the file
  ModulesMalformed,         ///< the file; the line and the parser's reason
  ModulesWithoutService,    ///< the file
  ModulesPortUnusable,      ///< the file; the port
  ModulesHostUnusable,      ///< the file; the host name
  ModulesNotAFile,          ///< the file
  ModulesTooLarge,          ///< the file; the limit

  // The operator's turn, found by velmo_check() alone.
  NotADirectory,            ///< the variable; the path
  DirectoryNotUsable,       ///< the variable; the directory
  DirectoryOpenToAll,       ///< the variable; the directory
  TmpIsQueue,               ///< the directory
  NoPriorities,             ///< the files searched
  PriorityLinesSkipped,     ///< the file; how many
  PrioritiesWithoutNumber,  ///< the file; the names
  JobCounterCopyLeft,       ///< the file
  SemaphoreAboveOne,        ///< the key; the value
  RemovedAtLogout,          ///< the System V object; the user's number
  TemporaryFilesLeft,       ///< TMP; how many, and the first
  QueueHasOtherFiles,       ///< the queue; how many, and the first
  UmaskHidesTasks,          ///< the umask

  // The service.
  SemaphoreMissing,      ///< the key
  SemaphoreNeverReady,   ///< the key
  SemaphoreRemoved,      ///< the key
  SegmentMissing,        ///< the key
  SemaphoreSetTooLarge,  ///< the key; the size of its set
  SegmentTooSmall,       ///< the key; its size
  SegmentNotACounter,    ///< the key; what it holds

  // Waits.
  SemaphoreTimedOut,  ///< the key; who took it last
  LockTimedOut,       ///< the lock file; since when it exists, and its holder
  JobFileTimedOut,    ///< the job file
  ConnectTimedOut,    ///< the address
  HandshakeTimedOut,  ///< the address
  SendTimedOut,       ///< the address
  ReplyTimedOut,      ///< the address
  Stopped,            ///< what was waited for

  // The system.
  LockNotCreated,           ///< the lock file
  LockTakenAway,            ///< the lock file
  LockNotRemoved,           ///< the lock file
  JobCounterNotWritten,     ///< the new copy
  JobCounterNotMoved,       ///< the counter file
  JobCounterNotSynced,      ///< the directory
  SemaphoreFailed,          ///< the key
  SemaphoreNotReleased,     ///< the key
  SegmentFailed,            ///< the key
  TemporaryFileNotWritten,  ///< the file
  NotMovedIntoQueue,        ///< the file in the queue
  NameAlwaysTaken,          ///< the last file tried
  QueueNotSynced,           ///< the directory
  QueueNotListed,           ///< the directory
  TaskNotRemoved,           ///< the file
  JobFileNotRead,           ///< the job file
  JobFileNotWritten,        ///< the file
  JobFileWithoutId,         ///< the job file
  JobFileIdUnusable,        ///< the job file; the identifier
  JobFileNotSynced,         ///< the directory
  SocketFailed,             ///< the address
  NoRandomBytes,            ///< none
  OutOfMemory,              ///< none

  // The task that is no longer in the queue.
  TaskNotInQueue,  ///< the name

  // The way to the service.
  HostNotFound,       ///< the host; the resolver's reason
  NotConnected,       ///< the address
  HandshakeRefused,   ///< the address; the status line
  HandshakeWrong,     ///< the address; what is wrong
  ConnectionEnded,    ///< the address
  ConnectionClosed,   ///< the address; the peer's reason
  ConnectionHasData,  ///< the address
  ConnectionBroken,   ///< the address; what is wrong
  ConnectionFailed,   ///< the address
  RequestRefused,     ///< the address; the peer's reason
  FrameWrong,         ///< the address; what is wrong
  ReplyTooLarge,      ///< the address
  ReplyWrong,         ///< the address; what is wrong
  ReplyNameUnusable,  ///< the address; the name
};

/// A failure as a value. The library formats its text in one place, at the edge.
struct Fault {
  Problem problem;
  std::string subject = {};
  std::string detail = {};
  int systemError = 0;     ///< errno, or 0
  int peerCode = 0;        ///< close code or HTTP status, or 0
  std::string doubt = {};  ///< the name or place of a task that may be queued, if isInDoubt
  bool isInDoubt = false;
};

/// The same failure, after which the task may be queued.
/// @param task  its name, or empty if only the service knows it
Fault inDoubt(Fault fault, std::string task);

/// The status that a call returns for the failure.
velmo_status statusOf(const Fault& fault);

/// Writes the failure into `error`, whole; nothing if it is null. Allocates nothing.
void describe(const Fault& fault, velmo_error* error);

/// The same for a finding: a remedy ends the text.
void describeFinding(const Fault& fault, velmo_error& error);

/// Nothing on success.
using Outcome = std::optional<Fault>;

/// A value, or the failure instead of it.
template <typename T>
class Result {
 public:
  Result(T value) : m_content(std::in_place_index<0>, std::move(value)) {}
  Result(Fault fault) : m_content(std::in_place_index<1>, std::move(fault)) {}

  bool isOk() const {
    return m_content.index() == 0;
  }

  /// The value, if isOk().
  T& value() {
    return *std::get_if<0>(&m_content);
  }
  const T& value() const {
    return *std::get_if<0>(&m_content);
  }

  /// The failure, unless isOk().
  Fault& fault() {
    return *std::get_if<1>(&m_content);
  }
  const Fault& fault() const {
    return *std::get_if<1>(&m_content);
  }

 private:
  std::variant<T, Fault> m_content;
};

}  // namespace velmo::client

#endif
