#include "JobManager.h"

#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <optional>

#include "CancellationGuard.h"
#include "CreateTaskFile.h"
#include "JobFileScanner.h"
#include "StdioFile.h"

// Nothing here reports a failure: each has one fixed outcome, and a job is worth having without its
// file.

using brix::imutils::CancellationGuard;
using brix::imutils::Stream;
using brix::velmo::JobFileFields;
using brix::velmo::JobFileScanner;

namespace {

constexpr std::size_t kLineSize = 256;

// --- age ---

// Times may be anything: a difference beyond the range of time_t counts as the nearest one in it.
time_t ageAt(time_t now, time_t lastUsed) {
  time_t age = 0;
  if (__builtin_sub_overflow(now, lastUsed, &age)) {
    return lastUsed < 0 ? std::numeric_limits<time_t>::max() : std::numeric_limits<time_t>::min();
  }
  return age;
}

// Deliberate: the job in memory expires at the maximum age itself; its file stays.
bool hasExpired(time_t age, long maxAge) {
  return maxAge != 0 && age >= maxAge;
}

// Deliberate: strictly older here; expiry and stale files count the equal age too.
bool isSweptAway(time_t age, long maxAge) {
  return age > maxAge;
}

// Deliberate: the file is stale at the maximum age itself, and goes.
bool isStaleFile(time_t age, long maxAge) {
  return maxAge != 0 && age >= maxAge;
}

// --- file times ---

std::optional<time_t> modificationTime(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  return status.st_mtime;
}

// Another process may have used the job since.
void refreshLastUsed(JobInfo& job) {
  job.m_lastUsed = modificationTime(job.m_fileName).value_or(job.m_lastUsed);
}

void markUsed(JobInfo& job) {
  utime(job.m_fileName.c_str(), nullptr);
  job.m_lastUsed = time(nullptr);
}

// --- jobs ---

std::string taskJobInfo(const std::string& user, const std::string& name) {
  std::string text;
  if (!user.empty()) {
    text += "#1USE=" + user;
  }
  if (!name.empty()) {
    text += "#1JNA=" + name;
  }
  return text;
}

// In order, each with a line feed: id="J17", user="u" and name="n" if there is one, priority="50".
void writeLines(const JobInfo& job, FILE* file) {
  std::fprintf(file, "id=\"%s\"\n", job.m_id.c_str());
  if (!job.m_user.empty()) {
    std::fprintf(file, "user=\"%s\"\n", job.m_user.c_str());
  }
  if (!job.m_name.empty()) {
    std::fprintf(file, "name=\"%s\"\n", job.m_name.c_str());
  }
  std::fprintf(file, "priority=\"%d\"\n", job.m_priority);
}

std::string newJobId() {
  const std::unique_ptr<char[]> id(generateJobID());
  return id != nullptr ? id.get() : "";
}

// A line longer than the buffer arrives in pieces, and each counts as a line. A NUL ends its piece.
JobFileFields readFields(FILE* stream) {
  JobFileScanner scanner;
  std::array<char, kLineSize> line{};
  while (std::fgets(line.data(), static_cast<int>(line.size()), stream) != nullptr) {
    scanner.scanLine(line.data());
  }
  return scanner.fields();
}

}  // namespace

JobPropertyGetter::JobPropertyGetter() = default;

JobPropertyGetter::~JobPropertyGetter() = default;

JobInfo::JobInfo(const std::string& fileName, const std::string& id, const std::string& user,
                 const std::string& name, int priority)
    : m_id(id),
      m_user(user),
      m_name(name),
      m_jobInfo(taskJobInfo(user, name)),
      m_priority(priority),
      m_fileName(fileName),
      m_lastUsed(time(nullptr)) {}

// Created exclusively: of several processes the first one's file stays. A file that was cut short
// is removed: its identifier could be that of another job.
void JobInfo::createFile() {
  const CancellationGuard guard;
  Stream file(std::fopen(m_fileName.c_str(), "wx"));
  if (file == nullptr) {
    return;
  }
  writeLines(*this, file.get());
  const bool isWritten = std::ferror(file.get()) == 0;
  const bool isClosed = std::fclose(file.release()) == 0;
  if (!isWritten || !isClosed) {
    unlink(m_fileName.c_str());
  }
}

JobManager::JobManager(const std::string& jobDir, unsigned long maxJobs, long maxAge,
                       const std::string& user, const std::string& name,
                       JobPropertyGetter* propertyGetter)
    : m_jobDir(jobDir),
      m_maxAge(maxAge),
      m_maxJobs(std::max(maxJobs, 1UL)),
      m_name(name),
      m_user(user),
      m_propertyGetter(propertyGetter) {}

JobManager::JobManager(unsigned long maxJobs, long maxAge, const std::string& user,
                       const std::string& name, JobPropertyGetter* propertyGetter)
    : JobManager("", maxJobs, maxAge, user, name, propertyGetter) {}

JobManager::~JobManager() {
  for (const auto& [key, job] : m_jobs) {
    delete job;
  }
}

JobInfo* JobManager::findJobInfo(const std::string& jobKey) {
  // The caller's text may be part of a job that goes below.
  const std::string key = jobKey;  // NOLINT(performance-unnecessary-copy-initialization)
  const time_t now = time(nullptr);
  if (JobInfo* job = findInMemory(key, now)) {
    return job;
  }
  makeRoom(now);
  return findOnDisk(key, now);
}

JobInfo* JobManager::findInMemory(const std::string& jobKey, time_t now) {
  const auto entry = m_jobs.find(jobKey);
  if (entry == m_jobs.end()) {
    return nullptr;
  }
  JobInfo& job = *entry->second;
  if (m_maxAge != 0) {
    refreshLastUsed(job);
  }
  if (hasExpired(ageAt(now, job.m_lastUsed), m_maxAge)) {
    remove(entry);
    return nullptr;
  }
  markUsed(job);
  return &job;
}

void JobManager::makeRoom(time_t now) {
  if (m_jobs.size() < m_maxJobs) {
    return;
  }
  if (m_maxAge > 0) {
    sweep(now);
  }
  while (m_jobs.size() >= m_maxJobs) {
    evictLeastRecentlyUsed();
  }
}

void JobManager::sweep(time_t now) {
  for (auto next = m_jobs.begin(); next != m_jobs.end();) {
    const auto entry = next++;
    JobInfo& job = *entry->second;
    refreshLastUsed(job);
    if (!isSweptAway(ageAt(now, job.m_lastUsed), m_maxAge)) {
      continue;
    }
    const std::unique_ptr<JobInfo> swept = remove(entry);
    if (!swept->m_fileName.empty()) {
      unlink(swept->m_fileName.c_str());
    }
  }
}

// Deliberate: the oldest so far is refreshed at every step as well; another process may be using
// it. Of equally old jobs the first in key order goes, and its file stays.
void JobManager::evictLeastRecentlyUsed() {
  auto oldest = m_jobs.begin();
  for (auto entry = m_jobs.begin(); entry != m_jobs.end(); ++entry) {
    refreshLastUsed(*entry->second);
    refreshLastUsed(*oldest->second);
    if (entry->second->m_lastUsed < oldest->second->m_lastUsed) {
      oldest = entry;
    }
  }
  remove(oldest);
}

JobInfo* JobManager::findOnDisk(const std::string& jobKey, time_t now) {
  const std::string path = jobPath(jobKey);
  const std::optional<time_t> lastUsed = modificationTime(path);
  if (!lastUsed) {
    return createJob(path, jobKey);
  }
  if (isStaleFile(ageAt(now, *lastUsed), m_maxAge)) {
    unlink(path.c_str());
    return createJob(path, jobKey);
  }
  return readJobFile(path, jobKey);
}

JobInfo* JobManager::createJob(const std::string& fileName, const std::string& jobKey) {
  const std::string id = newJobId();
  const int priority = m_propertyGetter != nullptr ? m_propertyGetter->getPriority() : 0;
  auto owned = std::make_unique<JobInfo>(fileName, id, m_user, m_name, priority);
  JobInfo* const job = owned.get();
  if (!insert(jobKey, owned)) {
    return nullptr;
  }
  job->createFile();
  return job;
}

JobInfo* JobManager::readJobFile(const std::string& fileName, const std::string& jobKey) {
  Stream stream(std::fopen(fileName.c_str(), "r"));
  if (stream == nullptr) {
    return createJob(fileName, jobKey);
  }
  const JobFileFields fields = readFields(stream.get());
  stream.reset();

  // Deliberate: a new identifier stays in memory, the file goes on lacking one.
  const std::string id = fields.id.empty() ? newJobId() : fields.id;
  auto owned = std::make_unique<JobInfo>(fileName, id, fields.user, fields.name, fields.priority);
  JobInfo* const job = owned.get();
  if (!insert(jobKey, owned)) {
    return nullptr;
  }
  markUsed(*job);
  return job;
}

// Deliberate: the temporary file lies in a directory that bears the job file's own name. There is
// either no such directory to write it into, or it stands in the way of the move, whose outcome is
// not examined.
void JobManager::addJob(const std::string& jobKey, const std::string& jobId) {
  const std::string path = jobPath(jobKey);
  const std::string temporaryPath = path + "/" + jobKey + ".tmp";
  JobInfo(temporaryPath, jobId, m_user, m_name, 0).createFile();
  static_cast<void>(std::rename(temporaryPath.c_str(), path.c_str()));
}

std::string JobManager::jobPath(const std::string& jobKey) const {
  return m_jobDir + "/" + jobKey;
}

// Takes the job over only when the key is free.
bool JobManager::insert(const std::string& jobKey, std::unique_ptr<JobInfo>& job) {
  if (!m_jobs.emplace(jobKey, job.get()).second) {
    return false;
  }
  static_cast<void>(job.release());
  return true;
}

std::unique_ptr<JobInfo> JobManager::remove(Jobs::iterator entry) {
  std::unique_ptr<JobInfo> job(entry->second);
  m_jobs.erase(entry);
  return job;
}
