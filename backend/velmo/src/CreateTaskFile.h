#ifndef VELMO_CREATETASKFILE_H
#define VELMO_CREATETASKFILE_H

#include <string>

#include "Export.h"

/// One task, as plain texts that stay the caller's.
struct TaskFileDescriptor {
  const char* priorityType;  ///< priority class, looked up in "priorities.cfg"; never null
  const char* command;       ///< command to run; never null
  const char* commandType;   ///< kind of command; null is set to "sh"
  const char* deltaType;     ///< priority adjustment, looked up as the class is; null: none
  const char* jobId;         ///< job identifier; null or empty: a new one is generated
  const char* subJobId;      ///< sub-job identifier; null is set to "0"
  const char* jobInfo;       ///< second line of the task file; null: no second line
  int relPriority;           ///< relative priority within the class
};

/// Names and writes task files, and issues the identifiers that their names carry.
///
/// Failures come back as a status or an empty text, and each is a line in the system log (identity
/// "CreateTaskFile", LOG_PID, LOG_LOCAL3, LOG_ERR). The texts of the environment are read at every
/// call; an unset VAR, TMP or DATA reads as "(null)", which fails as a missing directory does. A
/// failed allocation leaves as the standard exception.
///
/// The object holds no data, and several threads may issue identifiers at once. The priority map is
/// shared by the whole process and loaded at the first use without a lock: a program that submits
/// from several threads calls createPriorityMap, or submits, once before it starts them.
class VELMO_EXPORT CreateTaskFile {
 public:
  /// Loads the priority map from VELMO_HOME/priorities.cfg and CONF/priorities.cfg, where the
  /// second counts for a name that both know. Only the first call in a process does anything: the
  /// map is never loaded again, even if that load failed or the files change. A missing file is no
  /// failure.
  /// @return true, always
  /// @throws std::logic_error  "basic_string::_M_construct null not valid", when VELMO_HOME or CONF
  /// is
  ///                           not set at the first call. The map then stays empty for good.
  bool createPriorityMap() const;

  /// A new job identifier: the next number of the machine's job counter (0 to 999999, then 0 again)
  /// behind a "J", and in front of that the server's identity and a hyphen if one is configured:
  /// "J17" or "node2-J17".
  ///
  /// Counts in DATA/velmo/jobid under the lock file "semaphore_velmo_jobid" in LOCK_VAR (unset: the
  /// current directory), for which it waits up to 30 seconds. The identity is SELF_SERVER_ID of
  /// CONF/serverid.cfg. The counter has no lower bound: a file that holds -7 gives "J-6".
  ///
  /// Mind that a counter file that cannot be replaced goes unnoticed: the next caller then gets the
  /// same number. A lock file that cannot be removed afterwards ends the process.
  /// @return the identifier, or an empty text when the lock or the counter file cannot be had
  std::string generateJobID() const;

  /// A new task identifier (0 to 2147483646, then 0 again): the service's counter in the shared
  /// memory with the key SHARED_VELMO_TASKID, advanced under the semaphore with the key
  /// SEMAPHORE_VELMO_TASKID.
  ///
  /// It blocks without limit while somebody holds the semaphore. Mind that a key that is not a
  /// number counts as 0, which names a new, private object at every call: a semaphore of that kind
  /// is 0 and nobody can release it.
  /// @return the identifier, or -1 when a key is not set or a system call failed
  int generateTaskID() const;

  /// The name of a new task file, for example
  /// "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh". Draws a new task identifier, and a
  /// new job identifier where none is given: no two calls give the same name.
  /// @param descriptor  `commandType` and `subJobId` are set to "sh" and "0" where they are null
  /// @return an empty text when no task identifier could be had
  /// @throws std::logic_error                     as createPriorityMap()
  /// @throws brix::imutils::IMAssertionException  when `priorityType` is null
  std::string getFileName(TaskFileDescriptor& descriptor) const;

  /// The contents of the task file: the command and, where there is one, the job information, each
  /// with a line feed. Empty when the command is null.
  std::string getTaskContents(TaskFileDescriptor& descriptor) const;

  /// Writes the task file: first in the directory TMP, then moved into the queue VAR/taskqueue,
  /// which has to lie on the same file system.
  ///
  /// Mind that two percent signs in a row in the command or the job information are written as one.
  /// A single one is written as it stands.
  /// @return 0: the task is in the queue; 1: refused or failed; -1: no task identifier. A file that
  ///         could not be written whole is removed; one that could not be moved stays in TMP.
  /// @throws std::logic_error  as createPriorityMap()
  int createFile(TaskFileDescriptor& descriptor);
};

extern "C" {

/// Hands a task to the service of this machine: writes its task file into the queue.
///
/// Files and variables: VAR/taskqueue and TMP (the file), VELMO_HOME/priorities.cfg and
/// CONF/priorities.cfg (read at the first call of the process), SHARED_VELMO_TASKID and
/// SEMAPHORE_VELMO_TASKID (the task counter, which may block), and where no job identifier is given
/// DATA/velmo/jobid, LOCK_VAR and CONF/serverid.cfg (the job counter, which may wait 30 seconds).
///
/// @param priorityType  priority class; one that is not configured is queued as 9999, the last
/// @param command       command to run
/// @param commandType   kind of command; null: "sh"
/// @param deltaType     priority adjustment; null: none
/// @param jobId         job identifier; null or empty: a new one, "EMPTYJOB" if that fails
/// @param subJobId      sub-job identifier; null: "0"
/// @param jobInfo       job information; null: none
/// @param relPriority   relative priority within the class
/// @return 0: the task is in the queue; 1: `priorityType` or `command` is null, or the file could
/// not
///         be written or moved; -1: no task identifier. Every failure is a line in the system log.
/// @throws std::logic_error  when VELMO_HOME or CONF is not set at the first call of the process
/// @throws std::bad_alloc    when memory runs out. A caller that cannot catch has to set both
///                           variables first.
VELMO_EXPORT int createTaskFile(const char* priorityType, const char* command,
                                const char* commandType, const char* deltaType, const char* jobId,
                                const char* subJobId, const char* jobInfo, int relPriority);

/// Hands a task to the service as the child of another: its sub-job identifier is that of the
/// parent with the number before the first underscore raised by one, and "_" and the suffix
/// appended. The parent "3_x" and the suffix "y" give "4_x_y".
///
/// @param subJobId     the parent's sub-job identifier, which must contain an underscore. Text
/// before
///                     it that is no number counts as 0. Null: the child gets "0" and no suffix.
/// @param childSuffix  what tells this child from its siblings; null: nothing is appended
/// @return as createTaskFile(), which also describes the other arguments
/// @throws std::out_of_range  when `subJobId` contains no underscore
/// @throws std::logic_error   as createTaskFile()
VELMO_EXPORT int createChildTask(const char* priorityType, const char* command,
                                 const char* commandType, const char* deltaType, const char* jobId,
                                 const char* subJobId, const char* childSuffix, const char* jobInfo,
                                 int relPriority);

/// A new job identifier, as CreateTaskFile::generateJobID() issues it, for tasks that belong
/// together.
/// @return a new character array, which the caller releases with `delete[]`; never null, an empty
///         text on failure
/// @throws std::bad_alloc  when memory runs out
VELMO_EXPORT char* generateJobID();

}  // extern "C"

#endif
