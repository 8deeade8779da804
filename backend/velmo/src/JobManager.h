#ifndef VELMO_JOBMANAGER_H
#define VELMO_JOBMANAGER_H

/// @file
/// A registry of jobs, shared by all processes that use one directory.

#include <ctime>
#include <map>
#include <memory>
#include <string>

#include "Export.h"

/// A source of priorities for new jobs. Derive from it. The caller owns the object, which must
/// outlive the JobManager that uses it.
class VELMO_EXPORT JobPropertyGetter {
 public:
  /// Does nothing.
  JobPropertyGetter();

  /// Does nothing.
  virtual ~JobPropertyGetter();

  /// Returns the priority of the job that is being created, any number. JobManager::createJob()
  /// calls it once, even if the key turns out to be taken. Its exceptions pass through the manager.
  virtual int getPriority() = 0;
};

/// One job and its file. Callers read the fields. A copy is independent of the JobManager.
/// velmo-jobfile(5) describes the job file.
struct VELMO_EXPORT JobInfo {
  /// Takes the values unchanged; any text may be empty. `m_lastUsed` is the current time. Touches
  /// no file.
  /// @param fileName  path of the job file
  /// @param id        job identifier
  /// @param user      user name
  /// @param name      job name
  /// @param priority  any number
  /// @throws std::bad_alloc  memory runs out
  JobInfo(const std::string& fileName, const std::string& id, const std::string& user,
          const std::string& name, int priority);

  /// Writes the job file at `m_fileName`, unless something exists there already.
  ///
  /// Failures are neither reported nor logged. A file that cannot be written whole is removed.
  /// Nothing is escaped: a text that is too long, or has a double quote, a line end or another
  /// character that job files do not allow, reads back differently: see formats.md.
  void createFile();

  std::string m_id;        ///< job identifier, for createTaskFile(); empty if there is none
  std::string m_user;      ///< user name; may be empty
  std::string m_name;      ///< job name; may be empty
  std::string m_jobInfo;   ///< job information, for createTaskFile(): "#1USE=u#1JNA=n", without the
                           ///< part whose text is empty
  int m_priority;          ///< priority, any number
  std::string m_fileName;  ///< path of the job file
  time_t m_lastUsed;       ///< last use known to the manager, in seconds since the epoch
};

/// Jobs under keys, shared by all processes that use one directory. Each key has a job file there,
/// so that every process and every later run finds the same job identifier.
///
/// The modification time of the file is the time of the job's last use in any process. Each use
/// sets it to the current time. A job that has not been used for the maximum age expires.
/// velmo-jobfile(5) describes the file.
///
/// The manager owns its jobs. A returned pointer is valid until a later findJobInfo() drops that
/// job, because it expired or to make room, or until the manager is destroyed. One manager is used
/// by one thread at a time. Managers of one directory share only the files.
///
/// New identifiers come from generateJobID(), which may wait, logs its failures, and may end the
/// process. If it fails, the job's identifier is empty. Other failures are neither reported nor
/// logged. The calls throw std::bad_alloc, std::length_error for a text that is too long, and any
/// exception of the property getter. A call that throws registers nothing, but jobs and files that
/// it dropped or removed before stay gone.
///
/// @par Examples
/// Submit a task of a job that is the same in every run within a day:
/// @code
/// JobManager jobs("/var/lib/demo", 100, 24L * 60 * 60, "demo", "report",
///                 nullptr);
/// const JobInfo* job = jobs.findJobInfo("daily-report");
/// if (!job->m_id.empty()) {
///   createTaskFile("Normal", "echo report", "sh", nullptr,
///                  job->m_id.c_str(), nullptr, job->m_jobInfo.c_str(), 0);
/// }
/// @endcode
///
/// @par Caveats
/// - Only trusted users may write to the directory: see libvelmo(7).
/// - If several managers create a key at the same time, the first one's file stays. The others keep
///   their own identifiers in memory until they drop the job.
/// - A file without an identifier does not get one: each manager keeps its own in memory. A process
///   that is killed while it creates a file may leave such a file. Remove it by hand.
class VELMO_EXPORT JobManager {
 public:
  /// Touches no file.
  /// @param jobDir          directory of the job files, which must exist; empty: the root
  ///                        directory
  /// @param maxJobs         the most jobs held in memory after findJobInfo(); 0 counts as 1
  /// @param maxAge          seconds without use until a job expires; 0: never. Below 0, a job is
  ///                        expired unless its last use is further than that in the future, and
  ///                        making room removes no files.
  /// @param user            user name of new jobs; may be empty
  /// @param name            name of new jobs; may be empty
  /// @param propertyGetter  asked for the priority of each new job; null: the priority is 0. The
  ///                        caller owns it, and it must outlive the manager.
  JobManager(const std::string& jobDir, unsigned long maxJobs, long maxAge, const std::string& user,
             const std::string& name, JobPropertyGetter* propertyGetter);

  /// The same with an empty directory: the key "tmp/job1" has the file "/tmp/job1".
  JobManager(unsigned long maxJobs, long maxAge, const std::string& user, const std::string& name,
             JobPropertyGetter* propertyGetter);

  JobManager(const JobManager&) = delete;
  JobManager& operator=(const JobManager&) = delete;

  /// Deletes the jobs in memory. Touches no file, and not the property getter.
  ~JobManager();

  /// Finds the job of a key, in memory or by its file, or creates it. Sets the times of its file to
  /// the current time.
  ///
  /// A job in memory that has expired is dropped. A file that has expired is removed, and the key
  /// gets a new identifier. When the memory is full, expired jobs are dropped and their files
  /// removed. Then the least recently used jobs are dropped; their files stay.
  /// @param jobKey  name of the file below the job directory, taken unchanged: it may contain
  ///                slashes. If it is empty, the path is the directory itself, and only this
  ///                manager knows the job.
  /// @return the job, owned by the manager. If its file cannot be created or read, only this
  ///         manager knows the job. Null only if the property getter registered the key meanwhile.
  JobInfo* findJobInfo(const std::string& jobKey);

  /// Creates a job with a new identifier, registers it under the key, and writes its file as
  /// JobInfo::createFile() does. Neither makes room nor checks for expiry.
  /// @param fileName  path of the job file, independent of the key; empty: no file is written
  /// @param jobKey    any text
  /// @return the job, owned by the manager; null if the key is registered already. Nothing has
  ///         changed then, but an identifier was used and the property getter was asked.
  JobInfo* createJob(const std::string& fileName, const std::string& jobKey);

  /// Registers the job of a file under the key, with the priority of the file, and sets the times
  /// of the file to now. If the file cannot be opened, calls createJob(). Neither makes room nor
  /// checks for expiry.
  /// @param fileName  path of the job file, independent of the key. If the file has no end, such as
  ///                  a pipe or /dev/zero, the call does not return.
  /// @param jobKey    any text
  /// @return the job, owned by the manager; null if the key is registered already. Nothing has
  ///         changed then, but an identifier was used if the file has none or cannot be opened.
  JobInfo* readJobFile(const std::string& fileName, const std::string& jobKey);

  /// Writes a job with the identifier, the manager's user and name and the priority 0 to
  /// JOBDIR/KEY/KEY.tmp and moves that file to JOBDIR/KEY. Reports nothing, and does not register
  /// the job.
  ///
  /// This does not give the key a job file. If JOBDIR/KEY is not a directory, nothing can be
  /// written; if it is one, the move fails and the file stays in it. Only a symbolic link to a
  /// directory of the same file system is replaced by the file.
  /// @param jobKey  any text
  /// @param jobId   any text, written as JobInfo::createFile() does
  void addJob(const std::string& jobKey, const std::string& jobId);

 private:
  using Jobs = std::map<std::string, JobInfo*>;

  bool isFresh(JobInfo& job, time_t now) const;
  void makeRoom(time_t now);
  void sweep(time_t now);
  void evictLeastRecentlyUsed();
  JobInfo* findOnDisk(const std::string& jobKey, time_t now);
  std::string jobPath(const std::string& jobKey) const;
  bool insert(const std::string& jobKey, std::unique_ptr<JobInfo>& job);
  std::unique_ptr<JobInfo> remove(Jobs::iterator entry);

  Jobs m_jobs;  // owns the jobs
  std::string m_jobDir;
  long m_maxAge;
  unsigned long m_maxJobs;
  std::string m_name;
  std::string m_user;
  JobPropertyGetter* m_propertyGetter;
};

#endif
