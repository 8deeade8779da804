#ifndef VELMO_CREATETASKFILE_H
#define VELMO_CREATETASKFILE_H

/// @file
/// Submitting tasks by file; job and task identifiers.

#include <string>

#include "Export.h"

/// One task, as the arguments of createTaskFile(). The caller owns the texts. An empty text is
/// used unchanged, except as the job identifier.
struct TaskFileDescriptor {
  const char* priorityType;  ///< priority class; null is refused
  const char* command;       ///< command to run; null is refused
  const char* commandType;   ///< kind of command; null is set to "sh"
  const char* deltaType;     ///< priority adjustment; null: none
  const char* jobId;         ///< job identifier; null or empty: a new one
  const char* subJobId;      ///< sub-job identifier; null is set to "0"
  const char* jobInfo;       ///< job information; null: none
  int relPriority;           ///< relative priority within the class
};

/// Names and contents of task files, and the identifiers in them. createTaskFile() performs these
/// steps; use them one by one if you want a name or the contents without submitting the task.
///
/// The object holds no data. Environment variables are read at each call. An unset VAR, TMP
/// or DATA counts as the directory "(null)", which normally does not exist: the file is not moved
/// or not written, or no job identifier is issued. A failure returns a status or an empty text and
/// is logged, unless the text below says otherwise; libvelmo(7) lists the lines. If memory runs
/// out, the functions throw std::bad_alloc.
///
/// Several threads may use one object, each with its own descriptor, once the priorities are
/// loaded: see createPriorityMap().
///
/// @par Examples
/// Show what would be submitted:
/// @code
/// TaskFileDescriptor task{"Normal", "echo hello", nullptr, nullptr,
///                         "J12",    nullptr,      nullptr, 2};
/// const CreateTaskFile file;
/// std::cout << file.getFileName(task) << '\n'
///           << file.getTaskContents(task);
/// @endcode
class VELMO_EXPORT CreateTaskFile {
 public:
  /// Loads the numbers of the priority classes and adjustments from VELMO_HOME/priorities.cfg and
  /// CONF/priorities.cfg. If a name is in both files, the number in CONF is used.
  ///
  /// Only the first call in a process loads the files. They are not loaded again, even if that call
  /// failed or a file changes. A missing file counts as empty and is not logged. An IMException
  /// from the first file is logged, one from the second is not.
  ///
  /// The call takes no lock. If several threads submit, call it before you start them, and end them
  /// before the process exits: exit(3) destroys the priorities.
  /// @return true, always
  /// @throws std::logic_error  "basic_string::_M_construct null not valid": VELMO_HOME or CONF is
  ///                           not set at the first call. No class is configured from then on.
  bool createPriorityMap() const;

  /// Generates a job identifier: see ::generateJobID().
  /// @return the identifier; empty on failure
  std::string generateJobID() const;

  /// Takes the next task identifier, 0 to 2147483646 and then 0 again, from the service's counter.
  ///
  /// The counter is the shared memory with the key SHARED_VELMO_TASKID. The semaphore with the key
  /// SEMAPHORE_VELMO_TASKID guards it. The call blocks without limit while the semaphore is 0.
  /// - An object that does not exist is created, the semaphore with the value 0. A client that
  ///   outlives the service blocks until some process sets the semaphore to 1.
  /// - A key that is not a number counts as 0, which names a new, private object at each call. With
  ///   such a semaphore the call blocks for ever; with such a counter it returns 1. Each object
  ///   stays until it is removed with ipcrm.
  /// - If the semaphore cannot be released, the identifier is lost, and later calls may block: see
  ///   brix::imutils::IMMemSemaphore::unlock().
  ///
  /// @return the identifier. -1 if a key is not set, a system call fails, or a signal handler
  ///         interrupts the wait, with SA_RESTART or without. -1 or less, without a log line, if
  ///         another program has set the counter to 2147483647 or below -1: each call adds one, and
  ///         none returns an identifier until the counter reaches 0.
  int generateTaskID() const;

  /// Generates the name of a new task file. velmo-taskfile(5) explains its parts.
  ///
  /// Takes a new task identifier and, if no job is given, a new job identifier, so two calls return
  /// two names. The first call loads the priorities. A class that is not configured is logged and
  /// counts as 9999, without adjustment. An adjustment that is not configured is logged and counts
  /// as none.
  /// @param descriptor  the task; a null `commandType` is set to "sh", a null `subJobId` to "0"
  /// @return the name; empty if no task identifier was issued
  /// @throws std::logic_error                     as createPriorityMap()
  /// @throws brix::imutils::IMAssertionException  `priorityType` is null
  std::string getFileName(TaskFileDescriptor& descriptor) const;

  /// Makes the contents of the task file, before "%%" is replaced: the command and, unless it is
  /// null, the job information, each with a line feed. Empty if the command is null.
  std::string getTaskContents(TaskFileDescriptor& descriptor) const;

  /// Submits the task: see createTaskFile(). If the queue has a file of the task's name, or the
  /// file cannot be moved there, it stays in TMP. A file that cannot be written whole is removed.
  /// @param descriptor  the task; null members are set as getFileName() does
  /// @return 0, 1 or -1, as createTaskFile()
  /// @throws std::logic_error  as createPriorityMap()
  int createFile(TaskFileDescriptor& descriptor);
};

extern "C" {

/// Submits a task to the service of this machine, by file.
///
/// Writes a task file in the directory TMP and moves it with rename(2) into the queue,
/// VAR/taskqueue, which must be on the same file system. Does not wait for the task to run.
/// Nothing checks the texts for slashes, line feeds or length; they are not used after the return.
/// velmo-taskfile(5) describes the file.
///
/// The first call in a process that is not refused loads the priorities: see
/// CreateTaskFile::createPriorityMap(). Each call takes a task identifier, and blocks without limit
/// while the semaphore of the counter is 0: see CreateTaskFile::generateTaskID(). If no job is
/// given, the call generates a job identifier, with the wait of generateJobID(). libvelmo(7) lists
/// the environment variables, the lines in the system log, and the files that only trusted users
/// may write to.
///
/// @par Examples
/// @code
/// const int result =
///     createTaskFile("Normal", "echo hello", "sh", nullptr, nullptr,
///                    nullptr, "#1USE=me#1JNA=demo", 0);
/// if (result != 0) {
///   std::cerr << "not queued: " << result << ", see the system log\n";
/// }
/// @endcode
///
/// @par Caveats
/// - If several threads submit, call CreateTaskFile::createPriorityMap() or submit once before you
///   start them.
/// - Nothing is synced to disk: a queued task may be lost or incomplete after a power cut.
/// - If no job is given and the lock file of the job counter cannot be removed, the process ends.
/// - An exception that reaches C, or a foreign-function interface such as Python's ctypes, ends the
///   process. Such a caller sets VELMO_HOME and CONF before its first call. It passes
///   createChildTask() a `subJobId` that is null or contains an underscore. std::bad_alloc cannot
///   be prevented.
///
/// @param priorityType  priority class, a name in "priorities.cfg". One that is not configured
///                      counts as 9999; the smaller number runs first. Null is refused.
/// @param command       command to run; "%%" in it is written as "%". Null is refused.
/// @param commandType   kind of command; null: "sh"
/// @param deltaType     priority adjustment, a name in the same file, added to the number of the
///                      class; null: none. Not looked up if the class is not configured.
/// @param jobId         job identifier; null or empty: a new one, or "EMPTYJOB" if that fails
/// @param subJobId      sub-job identifier; null: "0"
/// @param jobInfo       job information, the second line of the file, with "%%" as in the command;
///                      null: no second line
/// @param relPriority   relative priority within the class, any number
/// @return 0: the task is in the queue. 1: `priorityType` or `command` is null, or the file could
///         not be written or moved. -1: no task identifier was issued, so no file was written. The
///         call also returns -1 if a signal handler interrupts the wait for the task counter:
///         submit again. A result other than 0 is logged, unless another program has set the task
///         counter to 2147483647 or below -1.
/// @throws std::logic_error  VELMO_HOME or CONF is not set at the first call that is not refused
/// @throws std::bad_alloc    memory runs out
VELMO_EXPORT int createTaskFile(const char* priorityType, const char* command,
                                const char* commandType, const char* deltaType, const char* jobId,
                                const char* subJobId, const char* jobInfo, int relPriority);

/// Submits the child of a task to the service of this machine, by file. Differs from
/// createTaskFile() in the sub-job identifier only.
///
/// That is the identifier of the parent, with the number before its first underscore raised by one,
/// then an underscore and the suffix: the parent "3_x" and the suffix "y" give "4_x_y".
///
/// @par Examples
/// Submit a task and its child, with the sub-jobs "0_report" and "1_report_print":
/// @code
/// const char* parent = "0_report";
/// createTaskFile("Normal", "echo collect", "sh", nullptr, "J12",
///                parent, nullptr, 0);
/// createChildTask("Normal", "echo print", "sh", nullptr, "J12",
///                 parent, "print", nullptr, 0);
/// @endcode
///
/// @param priorityType,command,commandType,deltaType,jobId  as createTaskFile()
/// @param subJobId     sub-job identifier of the parent, with an underscore. Text before the
///                     underscore that does not begin with a number counts as 0. Null: the child
///                     gets "0", and `childSuffix` does not count.
/// @param childSuffix  distinguishes the child from its siblings; null: nothing is appended
/// @param jobInfo,relPriority  as createTaskFile()
/// @return the same as createTaskFile()
/// @throws std::out_of_range  `subJobId` contains no underscore. Nothing was written or logged. It
///                            derives from std::logic_error: catch it first.
/// @throws std::logic_error   as createTaskFile()
/// @throws std::bad_alloc     memory runs out
VELMO_EXPORT int createChildTask(const char* priorityType, const char* command,
                                 const char* commandType, const char* deltaType, const char* jobId,
                                 const char* subJobId, const char* childSuffix, const char* jobInfo,
                                 int relPriority);

/// Generates a job identifier, for tasks that belong together. It is "J" and the next number of the
/// job counter, for example "J17".
///
/// The counter is the file DATA/velmo/jobid: 0 to 999999, then 0 again. If CONF/serverid.cfg has
/// the key SELF_SERVER_ID, its value and a hyphen precede the identifier: "node2-J17". Several
/// threads may call the function at once. velmo-jobid(5) describes the files, libvelmo(7) the lines
/// in the system log.
///
/// The call takes the lock file "semaphore_velmo_jobid" in the directory LOCK_VAR (not set: the
/// current directory). It waits up to 30 seconds for the lock, less if signals interrupt the wait:
/// see brix::imutils::IMSemaphore::lock().
///
/// @par Examples
/// @code
/// const std::unique_ptr<char[]> job(generateJobID());
/// for (const char* command : {"echo collect", "echo print"}) {
///   createTaskFile("Normal", command, "sh", nullptr, job.get(),
///                  nullptr, nullptr, 0);
/// }
/// @endcode
///
/// @par Caveats
/// - If the counter file does not exist or cannot be opened, the number is 0. If it cannot be
///   replaced, the next call returns the same identifier. Neither is logged.
/// - If the lock file cannot be removed, the process ends.
///
/// @return a new character array, which the caller frees with `delete[]`. On failure, an empty
///         text; never null. C has no `delete[]`, and free(3) is the wrong function: find `operator
///         delete[](void*)` with dlsym(3), as "_ZdaPv", through the handle of the library, or keep
///         the text.
/// @throws std::bad_alloc  memory runs out; nothing else is thrown
VELMO_EXPORT char* generateJobID();

}  // extern "C"

#endif
