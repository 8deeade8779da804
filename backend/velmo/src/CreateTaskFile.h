#ifndef VELMO_CREATETASKFILE_H
#define VELMO_CREATETASKFILE_H

/// @file
/// Submitting tasks by file; job and task identifiers.

#include <string>

#include "Export.h"

/// One task, as plain texts that stay the caller's. An empty text is taken as it is, except as the
/// job identifier.
struct TaskFileDescriptor {
  const char* priorityType;  ///< priority class, looked up in "priorities.cfg"; null is refused
  const char* command;       ///< command to run; null is refused
  const char* commandType;   ///< kind of command; null is set to "sh"
  const char* deltaType;     ///< priority adjustment, looked up as the class is; null: none
  const char* jobId;         ///< job identifier; null or empty: a new one is generated
  const char* subJobId;      ///< sub-job identifier; null is set to "0"
  const char* jobInfo;       ///< second line of the task file; null: no second line
  int relPriority;           ///< relative priority within the class
};

/// Names and writes task files, and issues the identifiers that their names carry.
///
/// Failures come back as a status or an empty text, and are told in the system log (identity
/// "CreateTaskFile", LOG_PID, LOG_LOCAL3, LOG_ERR); what is told nowhere is said below. The
/// variables of the environment are read at every call. An unset VAR, TMP or DATA reads as
/// "(null)", which fails as a missing directory does. A failed allocation leaves as the standard
/// exception.
///
/// The object holds no data, and several threads may issue identifiers at once. The priority map is
/// shared by the whole process and loaded at the first use without a lock: a program that submits
/// from several threads calls createPriorityMap, or submits, once before it starts them. The map is
/// destroyed when the process exits: end the threads that submit before that.
class VELMO_EXPORT CreateTaskFile {
 public:
  /// Loads the priority map from VELMO_HOME/priorities.cfg and CONF/priorities.cfg, where the
  /// second counts for a name that both know. Only the first call in a process does anything: the
  /// map is never loaded again, even if that load failed or the files change. A missing file is no
  /// failure. An IMException from the first file is told in the system log ("No file in
  /// CreateTaskFile::createPriorityMap(), :PATH"), one from the second nowhere.
  /// @return true, always
  /// @throws std::logic_error  "basic_string::_M_construct null not valid", when VELMO_HOME or CONF
  ///                           is not set at the first call; the map then stays empty for good
  bool createPriorityMap() const;

  /// A new job identifier: the next number of the machine's job counter (0 to 999999, then 0 again)
  /// behind a "J", and in front of that the server's identity and a hyphen if one is configured:
  /// "J17" or "node2-J17".
  ///
  /// Counts in DATA/velmo/jobid under the lock file "semaphore_velmo_jobid" in LOCK_VAR (unset: the
  /// current directory). Waits up to 30 seconds for the lock file, less if signals interrupt the
  /// wait: see brix::imutils::IMSemaphore::lock(). The identity is SELF_SERVER_ID of
  /// CONF/serverid.cfg. The counter has no lower bound: a file that holds -7 gives "J-6".
  ///
  /// If the counter file does not exist or cannot be opened, for whatever reason, the number is 0.
  /// This is not logged. A user who may not read the file, but may replace it, restarts the numbers
  /// for everyone. A counter file that cannot be replaced is not logged either: the next call
  /// returns the same number. If the lock file cannot be removed afterwards, the process ends.
  /// @return the identifier; an empty text if the lock cannot be taken or the new number cannot be
  ///         written
  std::string generateJobID() const;

  /// A new task identifier (0 to 2147483646, then 0 again): the service's counter in the shared
  /// memory with the key SHARED_VELMO_TASKID, advanced under the semaphore with the key
  /// SEMAPHORE_VELMO_TASKID.
  ///
  /// Blocks without limit while the semaphore is 0. Objects that do not exist, or no longer, are
  /// created, the semaphore with the value 0: a client that outlives the service blocks until some
  /// process sets its semaphore to 1. A key that is not a number counts as 0, which names a new,
  /// private object at every call: nobody can raise that semaphore.
  ///
  /// If the semaphore cannot be released, the identifier is lost, and later calls may block: see
  /// brix::imutils::IMMemSemaphore::unlock().
  /// @return the identifier. -1 if a key is not set, a system call failed, or a signal handler
  ///         interrupted the wait, with SA_RESTART or without. -1 or less if somebody else set the
  ///         counter to 2147483647 or below -1: each call adds one, and none gives an identifier
  ///         until the counter reaches 0. That case is not logged.
  int generateTaskID() const;

  /// The name of a new task file, for example
  /// "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh". Draws a new task identifier, and a
  /// new job identifier where none is given, so two calls give two names.
  ///
  /// A class or an adjustment that is not configured is told in the system log: the class counts as
  /// 9999, the adjustment as none. The adjustment of such a class is neither looked up nor told.
  /// @param descriptor  `commandType` and `subJobId` are set to "sh" and "0" where they are null
  /// @return an empty text when no task identifier could be had
  /// @throws std::logic_error                     as createPriorityMap()
  /// @throws brix::imutils::IMAssertionException  when `priorityType` is null
  std::string getFileName(TaskFileDescriptor& descriptor) const;

  /// The contents of the task file before percent signs are paired: the command and, where there is
  /// one, the job information, each with a line feed. Empty when the command is null.
  std::string getTaskContents(TaskFileDescriptor& descriptor) const;

  /// Writes the task file in the directory TMP, then moves it into the queue VAR/taskqueue, which
  /// has to be on the same file system. The file is readable and writable for all, less the umask.
  /// Generates the identifiers that getFileName() needs, with their waits.
  ///
  /// A file or symbolic link of that name in TMP is written through: only trusted users may write
  /// to TMP and to the queue. Nothing is synced to disk: after a power cut a queued file may be
  /// missing or incomplete.
  ///
  /// Two percent signs in a row in the command or the job information are written as one. A single
  /// one is written as it is.
  /// @return 0: the task is in the queue. 1: `priorityType` or `command` is null; or the file could
  ///         not be written whole, and was removed again; or the queue has a file of that name, or
  ///         the move failed, and the file stays in TMP. -1: no task identifier, see
  ///         generateTaskID().
  /// @throws std::logic_error  as createPriorityMap()
  int createFile(TaskFileDescriptor& descriptor);
};

extern "C" {

/// Hands a task to the service of this machine: writes its task file into the queue.
///
/// Files and variables: VAR/taskqueue and TMP (the file), VELMO_HOME/priorities.cfg and
/// CONF/priorities.cfg (read at the first call of the process), SHARED_VELMO_TASKID and
/// SEMAPHORE_VELMO_TASKID (the task counter; the call blocks without limit while its semaphore is
/// 0), and where no job identifier is given those of generateJobID(). Only trusted users may write
/// to these files and directories. Nothing is synced to disk: a task that is queued may be lost or
/// incomplete after a power cut.
///
/// @param priorityType  priority class; one that is not configured counts as 9999
/// @param command       command to run; "%%" in it is written as "%"
/// @param commandType   kind of command; null: "sh"
/// @param deltaType     priority adjustment; null: none. It does not count, and is not looked up,
///                      when the class is not configured
/// @param jobId         job identifier; null or empty: a new one, "EMPTYJOB" if that fails
/// @param subJobId      sub-job identifier; null: "0"
/// @param jobInfo       job information; null: none
/// @param relPriority   relative priority within the class
/// @return 0: the task is in the queue; 1: `priorityType` or `command` is null, or the file could
///         not be written or moved; -1: no task identifier, also if a signal handler interrupted
///         the wait for the task counter, with SA_RESTART or without: submit again. The reason is
///         logged, unless somebody else set the task counter to 2147483647 or below -1.
/// @throws std::logic_error  when VELMO_HOME or CONF is not set at the first call of the process
///                           that is not refused
/// @throws std::bad_alloc    when memory runs out
///
/// Nothing else is thrown. An exception that reaches a caller who cannot catch it, in C or through
/// a foreign-function interface such as Python's ctypes, ends the process. Such a caller meets the
/// conditions first:
/// - VELMO_HOME and CONF are set, before the first call of createTaskFile() or createChildTask();
/// - the `subJobId` of createChildTask() is null or contains an underscore.
///
/// Against memory that runs out it can do nothing.
VELMO_EXPORT int createTaskFile(const char* priorityType, const char* command,
                                const char* commandType, const char* deltaType, const char* jobId,
                                const char* subJobId, const char* jobInfo, int relPriority);

/// Hands a task to the service as the child of another: its sub-job identifier is that of the
/// parent with the number before the first underscore raised by one, and "_" and the suffix
/// appended. The parent "3_x" and the suffix "y" give "4_x_y".
///
/// @param priorityType,command,commandType,deltaType,jobId  as createTaskFile()
/// @param subJobId     the parent's sub-job identifier, which must contain an underscore. Text in
///                     front of it that is no number counts as 0. Null: the child gets just "0".
/// @param childSuffix  what tells this child from its siblings; null: nothing is appended
/// @param jobInfo,relPriority  as createTaskFile()
/// @return as createTaskFile(), which also describes the other arguments, files and variables
/// @throws std::out_of_range  when `subJobId` contains no underscore, whatever the other arguments.
///                            It is a std::logic_error: catch it first.
/// @throws std::logic_error   as createTaskFile()
/// @throws std::bad_alloc     when memory runs out
///
/// Nothing else is thrown. A caller in C meets the conditions first: see createTaskFile().
VELMO_EXPORT int createChildTask(const char* priorityType, const char* command,
                                 const char* commandType, const char* deltaType, const char* jobId,
                                 const char* subJobId, const char* childSuffix, const char* jobInfo,
                                 int relPriority);

/// A new job identifier, for tasks that belong together: "J17", or "node2-J17" on a server that has
/// an identity.
///
/// Files and variables: DATA/velmo/jobid (the counter), LOCK_VAR (directory of its lock file, for
/// which it waits up to 30 seconds), CONF/serverid.cfg. If the counter cannot be opened, the number
/// is 0. If the lock file cannot be removed afterwards, the process ends. See
/// CreateTaskFile::generateJobID().
/// @return a new character array, which the caller releases with `delete[]`; never null, an empty
///         text on failure. A caller in C, which has no `delete[]` (and for which free() is the
///         wrong function), finds `operator delete[](void*)` with dlsym, under the name "_ZdaPv",
///         through the handle that it has of the library; or it keeps the text.
/// @throws std::bad_alloc  when memory runs out; nothing else
VELMO_EXPORT char* generateJobID();

}  // extern "C"

#endif
