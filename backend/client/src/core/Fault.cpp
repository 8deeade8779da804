#include "Fault.h"

#include "ErrorLine.h"

namespace velmo::client {

namespace {

struct Row {
  velmo_status status;
  const char* text;
  const char* remedy = "";
};

// Every text of the library. The reason of the system follows where there is one, and in a finding
// the remedy.
Row rowOf(Problem problem) {
  switch (problem) {
    case Problem::ArgumentMissing:
      return {VELMO_INVALID_ARGUMENT, "{1} is missing"};
    case Problem::ArgumentHasLineFeed:
      return {VELMO_INVALID_ARGUMENT, "{1} contains a line feed"};
    case Problem::ArgumentHasSlash:
      return {VELMO_INVALID_ARGUMENT, "{1} contains \"/\": \"{2}\""};
    case Problem::ArgumentHasControl:
      return {VELMO_INVALID_ARGUMENT, "{1} contains a control character: \"{2}\""};
    case Problem::ArgumentHasBlank:
      return {VELMO_INVALID_ARGUMENT, "{1} contains a blank or a control character: \"{2}\""};
    case Problem::ArgumentTooLong:
      return {VELMO_INVALID_ARGUMENT, "{1} is too long: {2} bytes"};
    case Problem::ArgumentNotUtf8:
      return {VELMO_INVALID_ARGUMENT, "{1} is not UTF-8, which the service expects"};
    case Problem::ArgumentOutOfRange:
      return {VELMO_INVALID_ARGUMENT, "{1} is out of range: {2}"};
    case Problem::ArgumentIsDotName:
      return {VELMO_INVALID_ARGUMENT, "{1} is not the name of a file: \"{2}\""};
    case Problem::ArgumentNotAbsolute:
      return {VELMO_INVALID_ARGUMENT, "{1} is not an absolute path: \"{2}\""};
    case Problem::ArgumentNotStorable:
      return {VELMO_INVALID_ARGUMENT, "{1} would not read back from a job file: \"{2}\""};
    case Problem::StructTooSmall:
      return {VELMO_INVALID_ARGUMENT, "the size of {1} is {2}: set it to the sizeof of the struct"};
    case Problem::StructNotUnderstood:
      return {VELMO_INVALID_ARGUMENT,
              "{1} has fields that this version of the library does not know (size {2})"};
    case Problem::FlagsNotUnderstood:
      return {VELMO_INVALID_ARGUMENT, "the flags {1} are not known to this version of the library"};
    case Problem::TypeNotSendable:
      return {VELMO_INVALID_ARGUMENT, "by message, type is \"sh\" or \"java\", not \"{1}\""};
    case Problem::TaskNameTooLong:
      return {VELMO_INVALID_ARGUMENT,
              "job, sub_job and type are too long together: the task's name could have {1} bytes, "
              "and 255 is the limit"};
    case Problem::TaskNameAmbiguous:
      return {VELMO_INVALID_ARGUMENT,
              "the service would read other parts from the task's name: \"{1}\""};
    case Problem::NotATaskName:
      return {VELMO_INVALID_ARGUMENT, "not the name of a task: \"{1}\""};
    case Problem::NoUnderscore:
      return {VELMO_INVALID_ARGUMENT, "the parent's sub-job has no underscore: \"{1}\""};
    case Problem::ConnectionNotUsable:
      return {VELMO_CONNECTION_LOST, "the connection has failed before; open a new one"};
    case Problem::ConnectionOfParent:
      return {VELMO_INVALID_ARGUMENT,
              "the connection belongs to the parent process; open one in this process"};

    case Problem::VariableNotSet:
      return {VELMO_NOT_CONFIGURED, "{1} is not set",
              "set it in the environment of the program, or in its settings"};
    case Problem::VariableNotAbsolute:
      return {VELMO_NOT_CONFIGURED, "{1} is not an absolute path: \"{2}\"", "begin it with \"/\""};
    case Problem::VariableNotAKey:
      return {VELMO_NOT_CONFIGURED, "{1} is not a decimal key other than 0: \"{2}\"",
              "set it to the key that the service uses"};
    case Problem::VariableNotStorable:
      return {VELMO_NOT_CONFIGURED, "{1} is unusable: \"{2}\""};
    case Problem::ClassNotConfigured:
      return {VELMO_NOT_CONFIGURED, "no priority class \"{1}\" in {2}",
              "add a line for it, or correct the task"};
    case Problem::AdjustmentNotConfigured:
      return {VELMO_NOT_CONFIGURED, "no priority adjustment \"{1}\" in {2}",
              "add a line for it, or correct the task"};
    case Problem::ClassWithoutNumber:
      return {VELMO_NOT_CONFIGURED,
              "the priority class \"{1}\" has no number in the range of int in \"{2}\"",
              "correct its line"};
    case Problem::AdjustmentWithoutNumber:
      return {VELMO_NOT_CONFIGURED,
              "the priority adjustment \"{1}\" has no number in the range of int in \"{2}\"",
              "correct its line"};
    case Problem::PriorityFileUnreadable:
      return {VELMO_NOT_CONFIGURED, "cannot read the priority file \"{1}\"",
              "permit the user of the program to read it"};
    case Problem::PriorityFilesNotNamed:
      return {VELMO_NOT_CONFIGURED, "neither VELMO_HOME nor CONF is set, so no priority is known",
              "set one of them to the directory of a file \"priorities.cfg\""};
    case Problem::FileNotRegular:
      return {VELMO_NOT_CONFIGURED, "not a regular file: \"{1}\"", "replace it by a file"};
    case Problem::ServerFileUnreadable:
      return {VELMO_NOT_CONFIGURED, "cannot read the server's identity from \"{1}\"",
              "permit the user of the program to read it"};
    case Problem::ServerIdentityUnusable:
      return {VELMO_NOT_CONFIGURED, "SELF_SERVER_ID in \"{1}\" cannot be part of a job: \"{2}\"",
              "choose a short one of letters, digits and hyphens"};
    case Problem::DirectoryMissing:
      return {VELMO_NOT_CONFIGURED, "the directory of {1} is missing: \"{2}\"",
              "create it, or correct the variable"};
    case Problem::DifferentFileSystems:
      return {VELMO_NOT_CONFIGURED,
              "TMP and the queue are on different mounts: \"{1}\" and \"{2}\"",
              "set TMP to a directory on the mount of the queue"};
    case Problem::JobCounterUnreadable:
      return {VELMO_NOT_CONFIGURED, "cannot read the job counter \"{1}\"",
              "permit the user of the program to read it"};
    case Problem::JobCounterNotANumber:
      return {VELMO_NOT_CONFIGURED, "the job counter does not hold a number: \"{1}\"",
              "write the last number of a job into it"};
    case Problem::ModulesUnreadable:
      return {VELMO_NOT_CONFIGURED, "cannot read \"{1}\""};
    case Problem::ModulesMalformed:
      return {VELMO_NOT_CONFIGURED, "\"{1}\" is not well-formed XML: {2}"};
    case Problem::ModulesWithoutService:
      return {VELMO_NOT_CONFIGURED,
              "\"{1}\" names no host that runs the module velmo, with a machine's hostname and a "
              "websocket-port"};
    case Problem::ModulesPortUnusable:
      return {VELMO_NOT_CONFIGURED, "the websocket-port in \"{1}\" is not in 1 to 65535: {2}"};

    case Problem::ModulesHostUnusable:
      return {VELMO_NOT_CONFIGURED, "the hostname in \"{1}\" cannot be used: \"{2}\""};
    case Problem::ModulesNotAFile:
      return {VELMO_NOT_CONFIGURED, "cannot read \"{1}\": not a regular file"};
    case Problem::ModulesTooLarge:
      return {VELMO_NOT_CONFIGURED, "cannot read \"{1}\": larger than {2}"};
    case Problem::NotADirectory:
      return {VELMO_NOT_CONFIGURED, "the directory of {1} is not a directory: \"{2}\"",
              "correct the variable"};
    case Problem::DirectoryNotUsable:
      return {VELMO_NOT_CONFIGURED, "cannot write to the directory of {1}, \"{2}\"",
              "permit the user of the program to write to it"};
    case Problem::DirectoryOpenToAll:
      return {VELMO_NOT_CONFIGURED, "every user can write to the directory of {1}: \"{2}\"",
              "take this permission from others"};
    case Problem::TmpIsQueue:
      return {VELMO_NOT_CONFIGURED, "TMP is the queue itself: \"{1}\"",
              "set TMP to another directory on the same mount"};
    case Problem::NoPriorities:
      return {VELMO_NOT_CONFIGURED, "no priority class in {1}", "add a line such as \"Normal=50\""};
    case Problem::PriorityLinesSkipped:
      return {VELMO_NOT_CONFIGURED,
              "lines of \"{1}\" that are skipped, for they have no \"=\" or no name: {2}",
              "correct them, or begin them with \"#\""};
    case Problem::PrioritiesWithoutNumber:
      return {VELMO_NOT_CONFIGURED, "names in \"{1}\" without a number in the range of int: {2}",
              "correct their lines"};
    case Problem::JobCounterCopyLeft:
      return {VELMO_NOT_CONFIGURED, "a program left a copy of the job counter behind: \"{1}\"",
              "delete it"};
    case Problem::SemaphoreAboveOne:
      return {VELMO_NOT_CONFIGURED,
              "the semaphore of the task counter, key {1}, has the value {2}, so that several "
              "programs can take a number at once",
              "restart the service"};
    case Problem::RemovedAtLogout:
      return {
          VELMO_NOT_CONFIGURED,
          "{1} belongs to the user with the number {2}, and systemd removes it when this user logs "
          "out",
          "set RemoveIPC=no in \"/etc/systemd/logind.conf\", or run the service as a system user"};
    case Problem::TemporaryFilesLeft:
      return {VELMO_NOT_CONFIGURED, "task files were left behind in TMP, \"{1}\": {2}",
              "delete them, for they are not queued"};
    case Problem::QueueHasOtherFiles:
      return {VELMO_NOT_CONFIGURED, "files in the queue \"{1}\" that are not tasks: {2}",
              "move them elsewhere"};
    case Problem::UmaskHidesTasks:
      return {VELMO_NOT_CONFIGURED,
              "the umask {1} hides tasks from a service that runs as another user",
              "set it to 0022"};

    case Problem::SemaphoreMissing:
      return {VELMO_NOT_RUNNING,
              "the service is not running: the semaphore of its task counter, key {1}, is missing",
              "start the service"};
    case Problem::SemaphoreNeverReady:
      return {VELMO_NOT_RUNNING,
              "the service is not running: the semaphore of its task counter, key {1}, was never "
              "initialised",
              "restart the service"};
    case Problem::SemaphoreRemoved:
      return {VELMO_NOT_RUNNING,
              "the service has ended: the semaphore of its task counter, key {1}, was removed",
              "start the service"};
    case Problem::SegmentMissing:
      return {VELMO_NOT_RUNNING,
              "the service is not running: its task counter, key {1}, is missing",
              "start the service"};
    case Problem::SemaphoreSetTooLarge:
      return {VELMO_NOT_CONFIGURED,
              "the semaphore with the key {1} is not that of a task counter: its set has {2} "
              "semaphores",
              "set the key that the service uses"};
    case Problem::SegmentTooSmall:
      return {VELMO_NOT_CONFIGURED,
              "the shared memory with the key {1} is not a task counter: it has {2} bytes",
              "set the key that the service uses"};
    case Problem::SegmentNotACounter:
      return {VELMO_NOT_CONFIGURED,
              "the task counter, shared memory with the key {1}, cannot be advanced: it holds {2}",
              "restart the service"};

    case Problem::SemaphoreTimedOut:
      return {VELMO_TIMED_OUT, "the task counter is locked: semaphore with the key {1}, {2}",
              "if it stays so, restart the service"};
    case Problem::LockTimedOut:
      return {VELMO_TIMED_OUT, "the job counter is locked: \"{1}\" {2}",
              "delete the file if no running program is taking a job number"};
    case Problem::JobFileTimedOut:
      return {VELMO_TIMED_OUT, "another process has not finished the job file \"{1}\""};
    case Problem::ConnectTimedOut:
      return {VELMO_TIMED_OUT, "no connection to {1} in time"};
    case Problem::HandshakeTimedOut:
      return {VELMO_TIMED_OUT, "{1} did not answer the handshake in time"};
    case Problem::SendTimedOut:
      return {VELMO_TIMED_OUT, "{1} did not take the whole request in time"};
    case Problem::ReplyTimedOut:
      return {VELMO_TIMED_OUT, "{1} did not reply in time"};
    case Problem::Stopped:
      return {VELMO_STOPPED, "stopped while waiting for {1}"};

    case Problem::LockNotCreated:
      return {VELMO_SYSTEM_ERROR, "cannot lock the job counter: cannot create \"{1}\""};
    case Problem::LockTakenAway:
      return {VELMO_SYSTEM_ERROR,
              "another process removed or replaced the lock file of the job counter while it was "
              "held: \"{1}\""};
    case Problem::LockNotRemoved:
      return {VELMO_SYSTEM_ERROR, "cannot release the lock of the job counter: \"{1}\""};
    case Problem::JobCounterNotWritten:
      return {VELMO_SYSTEM_ERROR, "cannot write the new job number to \"{1}\""};
    case Problem::JobCounterNotMoved:
      return {VELMO_SYSTEM_ERROR, "cannot replace the job counter \"{1}\""};
    case Problem::JobCounterNotSynced:
      return {VELMO_SYSTEM_ERROR, "cannot sync the directory of the job counter, \"{1}\""};
    case Problem::SemaphoreFailed:
      return {VELMO_SYSTEM_ERROR, "cannot use the semaphore with the key {1}",
              "permit the user of the program to read and alter it"};
    case Problem::SemaphoreNotReleased:
      return {VELMO_SYSTEM_ERROR, "cannot release the semaphore with the key {1}"};
    case Problem::SegmentFailed:
      return {VELMO_SYSTEM_ERROR, "cannot use the shared memory with the key {1}",
              "permit the user of the program to read and write it"};
    case Problem::TemporaryFileNotWritten:
      return {VELMO_SYSTEM_ERROR, "cannot write the task file \"{1}\""};
    case Problem::NotMovedIntoQueue:
      return {VELMO_SYSTEM_ERROR, "cannot move the task file to \"{1}\""};
    case Problem::NameAlwaysTaken:
      return {VELMO_SYSTEM_ERROR,
              "three task numbers in a row were taken already, the last in \"{1}\""};
    case Problem::QueueNotSynced:
      return {VELMO_SYSTEM_ERROR, "cannot sync the queue \"{1}\""};
    case Problem::QueueNotListed:
      return {VELMO_SYSTEM_ERROR, "cannot list the queue \"{1}\""};
    case Problem::TaskNotRemoved:
      return {VELMO_SYSTEM_ERROR, "cannot remove the task file \"{1}\""};
    case Problem::JobFileNotRead:
      return {VELMO_SYSTEM_ERROR, "cannot read the job file \"{1}\""};
    case Problem::JobFileNotWritten:
      return {VELMO_SYSTEM_ERROR, "cannot write the job file \"{1}\""};
    case Problem::JobFileWithoutId:
      return {VELMO_SYSTEM_ERROR, "the job file has no identifier: \"{1}\""};
    case Problem::JobFileIdUnusable:
      return {VELMO_SYSTEM_ERROR,
              "the identifier in the job file \"{1}\" cannot be part of a task's name: \"{2}\""};
    case Problem::JobFileNotSynced:
      return {VELMO_SYSTEM_ERROR, "cannot sync the directory of the job file, \"{1}\""};
    case Problem::SocketFailed:
      return {VELMO_SYSTEM_ERROR, "cannot make a socket for {1}"};
    case Problem::NoRandomBytes:
      return {VELMO_SYSTEM_ERROR, "cannot get random bytes"};
    case Problem::OutOfMemory:
      return {VELMO_OUT_OF_MEMORY, "out of memory", "free memory, and check again"};

    case Problem::TaskNotInQueue:
      return {VELMO_NOT_FOUND, "not in the queue (any more): \"{1}\""};

    case Problem::HostNotFound:
      return {VELMO_UNREACHABLE, "cannot find the host {1}: {2}"};
    case Problem::NotConnected:
      return {VELMO_UNREACHABLE, "cannot connect to {1}"};
    case Problem::HandshakeRefused:
      return {VELMO_UNREACHABLE, "{1} does not offer a WebSocket: \"{2}\""};
    case Problem::HandshakeWrong:
      return {VELMO_UNREACHABLE, "{1} does not speak WebSocket: {2}"};
    case Problem::ConnectionEnded:
      return {VELMO_CONNECTION_LOST, "{1} has ended the connection"};
    case Problem::ConnectionClosed:
      return {VELMO_CONNECTION_LOST, "{1} has closed the connection: {2}"};
    case Problem::ConnectionHasData:
      return {VELMO_CONNECTION_LOST, "{1} sent data without being asked"};
    case Problem::ConnectionBroken:
      return {VELMO_CONNECTION_LOST, "{1} broke the WebSocket protocol: {2}"};
    case Problem::ConnectionFailed:
      return {VELMO_CONNECTION_LOST, "the connection to {1} failed"};
    case Problem::RequestRefused:
      return {VELMO_REFUSED, "{1} refused the request: {2}"};
    case Problem::FrameWrong:
      return {VELMO_UNEXPECTED_REPLY, "{1} broke the WebSocket protocol: {2}"};
    case Problem::ReplyTooLarge:
      return {VELMO_UNEXPECTED_REPLY, "the reply of {1} has more than 1 MiB"};
    case Problem::ReplyWrong:
      return {VELMO_UNEXPECTED_REPLY, "unexpected reply of {1}: {2}"};
    case Problem::ReplyNameUnusable:
      return {VELMO_UNEXPECTED_REPLY, "{1} replied with a name that no task can have: \"{2}\""};
  }
  return {VELMO_SYSTEM_ERROR, ""};
}

void write(const Fault& fault, const char* remedy, velmo_error& error) {
  const Row row = rowOf(fault.problem);
  error = velmo_error{};
  error.status = statusOf(fault);
  error.cause = row.status;
  error.system_error = fault.systemError;
  error.peer_code = fault.peerCode;

  const char* prefix = !fault.isInDoubt      ? ""
                       : fault.doubt.empty() ? "the task may be queued: "
                                             : "the task may be queued as \"{3}\": ";
  writeErrorLine(error.message, {prefix, row.text, remedy},
                 {fault.subject, fault.detail, fault.doubt}, fault.systemError);
}

}  // namespace

Fault inDoubt(Fault fault, std::string task) {
  fault.isInDoubt = true;
  fault.doubt = std::move(task);
  return fault;
}

velmo_status statusOf(const Fault& fault) {
  return fault.isInDoubt ? VELMO_IN_DOUBT : rowOf(fault.problem).status;
}

void describe(const Fault& fault, velmo_error* error) {
  if (error != nullptr) {
    write(fault, "", *error);
  }
}

void describeFinding(const Fault& fault, velmo_error& error) {
  const Row row = rowOf(fault.problem);
  const bool isOfCaller = row.status == VELMO_INVALID_ARGUMENT && *row.remedy == '\0';
  write(fault, isOfCaller ? "correct the call" : row.remedy, error);
}

}  // namespace velmo::client
