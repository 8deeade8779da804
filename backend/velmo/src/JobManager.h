#ifndef VELMO_JOBMANAGER_H
#define VELMO_JOBMANAGER_H

/// @file
/// A registry of jobs, shared by all processes that use one directory.

#include <ctime>
#include <map>
#include <memory>
#include <string>

#include "Export.h"

/// Gives the priority of a new job. The caller derives from it, owns the object and keeps it for as
/// long as a JobManager knows it.
class VELMO_EXPORT JobPropertyGetter {
 public:
  /// Does nothing.
  JobPropertyGetter();

  /// Does nothing.
  virtual ~JobPropertyGetter();

  /// The priority of the job that is being created, any number; it goes into the job and its file.
  /// Asked once in every JobManager::createJob, also in one that then finds the key taken. What it
  /// throws passes through the manager.
  virtual int getPriority() = 0;
};

/// One job, as plain data that callers read. A copy is independent of the manager.
struct VELMO_EXPORT JobInfo {
  /// Takes the values as they are, texts of any length, empty ones included; `m_lastUsed` is the
  /// time of the call. Touches no file.
  /// @param fileName  path of the job file
  /// @param id        job identifier
  /// @param user      user name
  /// @param name      job name
  /// @param priority  any number
  /// @throws std::bad_alloc  when memory runs out
  JobInfo(const std::string& fileName, const std::string& id, const std::string& user,
          const std::string& name, int priority);

  /// Writes the job file at `m_fileName`, unless something stands there already:
  ///
  ///     id="J17"
  ///     user="u"         (only when there is a user)
  ///     name="n"         (only when there is a name)
  ///     priority="50"
  ///
  /// Nothing is escaped: a text with a double quote, a line end or another character that job files
  /// do not admit is not read back as it was; a NUL ends it. A line is read in pieces of 255 bytes:
  /// of an identifier 251 bytes come back, of a user or a name 249, and what follows is taken for a
  /// line of its own.
  ///
  /// The file is readable and writable for all, less the umask. Failures are not reported: a file
  /// that exists stays as it is, and a file that cannot be created or written whole does not exist
  /// afterwards.
  void createFile();

  std::string m_id;        ///< job identifier; empty when none could be had
  std::string m_user;      ///< user name; may be empty
  std::string m_name;      ///< job name; may be empty
  std::string m_jobInfo;   ///< job information for the job's tasks: "#1USE=u#1JNA=n", without the
                           ///< part whose text is empty
  int m_priority;          ///< priority
  std::string m_fileName;  ///< path of the job file
  time_t m_lastUsed;       ///< last use as the manager last saw it, in seconds since the epoch
};

/// Keeps jobs under keys that the caller chooses. Each key has a job file in the job directory, by
/// which every process and every later run finds the same job identifier.
///
/// The modification time of a job file is the time of the job's last use, in whichever process:
/// every use sets it to now, and a job that was not used for the maximum age expires. At most the
/// maximum number of jobs is held in memory once findJobInfo() has added one.
///
/// The manager owns its jobs. A pointer that it returned stays valid until a later findJobInfo()
/// drops that job (as expired, or to make room for another), or the manager is destroyed. Only the
/// manager deletes it. The property getter stays the caller's.
///
/// One manager is used by one thread at a time. Managers over one directory, in one process or in
/// several, share only the files: who creates a key's file first gives it its identifier. Another
/// that was about to create it keeps its own identifier in memory until it drops the job.
///
/// Failures are silent, and none of the calls below writes a message of its own. Exceptions come
/// only from memory that runs out (std::bad_alloc), texts beyond any length (std::length_error) and
/// the property getter; a call that throws has leaked nothing and registered nothing. A new
/// identifier comes from generateJobID(), which reads DATA/velmo/jobid, LOCK_VAR and
/// CONF/serverid.cfg, may wait 30 seconds and writes its failures to the system log; the job's
/// identifier is then empty. When it cannot remove its lock file, it ends the process.
class VELMO_EXPORT JobManager {
 public:
  /// Touches no file.
  /// @param jobDir          directory of the job files, which has to exist and which only trusted
  ///                        users may write to; empty: the root directory
  /// @param maxJobs         the most jobs held in memory; 0 counts as 1
  /// @param maxAge          seconds without use after which a job expires; 0: never. Below 0 a
  ///                        job has expired at once, unless its last use lies further than that in
  ///                        the future; making room then removes no files.
  /// @param user            user name of the jobs created here; may be empty
  /// @param name            name of the jobs created here; may be empty
  /// @param propertyGetter  asked for the priority of new jobs; null: they have the priority 0. It
  ///                        stays the caller's and outlives the manager.
  /// @throws std::bad_alloc  when memory runs out
  JobManager(const std::string& jobDir, unsigned long maxJobs, long maxAge, const std::string& user,
             const std::string& name, JobPropertyGetter* propertyGetter);

  /// The same with an empty directory: the key "tmp/job1" has the file "/tmp/job1".
  JobManager(unsigned long maxJobs, long maxAge, const std::string& user, const std::string& name,
             JobPropertyGetter* propertyGetter);

  JobManager(const JobManager&) = delete;
  JobManager& operator=(const JobManager&) = delete;

  /// Deletes the jobs held. Touches no file, and not the property getter.
  ~JobManager();

  /// The job of the key: from memory, from its file, or newly created. Each use sets the times of
  /// the job's file to now.
  ///
  /// Files: reads, creates and touches the key's file, and removes it when it has not been used for
  /// the maximum age. When the memory is full, it also looks at the files of all jobs held; those
  /// older than the maximum age go with their files, and of the others the least recently used
  /// leave the memory but keep their files.
  ///
  /// A file without an identifier does not get one: the new identifier is only in memory. So a
  /// process that is killed between creating and writing a job file leaves an empty file, and from
  /// then on each process has its own identifier for that key. Remove such a file by hand.
  /// @param jobKey  name of the file below the job directory, taken as it is: it may contain '/',
  ///                and be empty (the directory itself stands in the file's place then)
  /// @return the job, which stays the manager's; null only when the property getter itself has
  ///         registered the key meanwhile. A job whose file cannot be created or read is returned
  ///         all the same, known to this manager alone.
  ///
  /// Throws what the property getter throws, and the standard allocation failures. Jobs that were
  /// dropped and files that were removed before stay so.
  JobInfo* findJobInfo(const std::string& jobKey);

  /// Creates a job under the key, with a new identifier, and its file, as JobInfo::createFile()
  /// does. Makes no room for it, and looks at the age of nothing.
  /// @param fileName  path of the job file, which need not follow from the key; may be empty, and
  ///                  no file is written then
  /// @param jobKey    any text
  /// @return the job, which stays the manager's; null when the key is registered already: nothing
  ///         has changed then, but an identifier is used up and the property getter was asked
  ///
  /// Throws what the property getter throws, and the standard allocation failures.
  JobInfo* createJob(const std::string& fileName, const std::string& jobKey);

  /// Registers the job that a file describes under the key and sets the file's times to now; a file
  /// that cannot be opened is left to createJob(). Makes no room for it, and looks at the age of
  /// nothing. The priority is the file's: the property getter is not asked, unless createJob()
  /// takes over.
  ///
  /// A line counts only with its key as the very first characters, and a value ends at the first
  /// character other than letters, digits, blanks and ] _ . , @ $ % # & * ( ) [ { } | / \ ^ ; : -.
  /// An identifier, user or name line without a value takes the last value in the file before it,
  /// of whichever of the three.
  /// @param fileName  path of the job file, which need not follow from the key. Reading one without
  ///                  an end, such as a pipe or /dev/zero, does not end.
  /// @param jobKey    any text
  /// @return the job, which stays the manager's; null when the key is registered already: nothing
  ///         has changed then, but an identifier is used up if the file has none or cannot be
  ///         opened
  ///
  /// Throws as createJob() does.
  JobInfo* readJobFile(const std::string& fileName, const std::string& jobKey);

  /// Writes a job with the given identifier, the manager's user and name and the priority 0 to
  /// JOBDIR/KEY/KEY.tmp and moves that file to JOBDIR/KEY. Reports nothing, and does not register
  /// the job.
  ///
  /// Mind that this does not give the key a job file: without a directory JOBDIR/KEY nothing can be
  /// written, and with one the move fails and the file stays in it. Only a symbolic link to a
  /// directory of the same file system gives way to the file.
  /// @param jobKey  any text
  /// @param jobId   any text, as JobInfo::createFile() writes it
  /// @throws std::bad_alloc  when memory runs out
  void addJob(const std::string& jobKey, const std::string& jobId);

 private:
  using Jobs = std::map<std::string, JobInfo*>;

  JobInfo* findInMemory(const std::string& jobKey, time_t now);
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
