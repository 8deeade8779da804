#include "JobManager.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "CreateTaskFile.h"
#include "JobAge.h"
#include "JobFile.h"
#include "ModificationTime.h"

// No failure is reported: each has one fixed outcome, and a job is worth having without its file.

using brix::imutils::modificationTime;
using brix::velmo::ageAt;
using brix::velmo::createJobFile;
using brix::velmo::hasExpired;
using brix::velmo::isStaleFile;
using brix::velmo::isSweptAway;
using brix::velmo::JobFileFields;
using brix::velmo::removeJobFile;
using brix::velmo::touchJobFile;

namespace {

// Another process may have used the job meanwhile.
void refreshLastUsed(JobInfo& job) {
  job.m_lastUsed = modificationTime(job.m_fileName).value_or(job.m_lastUsed);
}

void markUsed(JobInfo& job) {
  touchJobFile(job.m_fileName);
  job.m_lastUsed = time(nullptr);
}

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

std::string newJobId() {
  const std::unique_ptr<char[]> id(generateJobID());
  return id != nullptr ? id.get() : "";
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

void JobInfo::createFile() {
  createJobFile(m_fileName, m_id, m_user, m_name, m_priority);
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

// Deliberate: the map owns its jobs through raw pointers. Programs are compiled with this type as
// part of the class. Only insert() and remove() move ownership into the map and out of it.
JobManager::~JobManager() {
  for (const auto& [key, job] : m_jobs) {
    delete job;
  }
}

JobInfo* JobManager::findJobInfo(const std::string& jobKey) {
  const time_t now = time(nullptr);
  const auto entry = m_jobs.find(jobKey);
  if (entry != m_jobs.end() && isFresh(*entry->second, now)) {
    markUsed(*entry->second);
    return entry->second;
  }
  // A copy: the caller's text may belong to a job that is dropped below.
  const std::string key = jobKey;  // NOLINT(performance-unnecessary-copy-initialization)
  if (entry != m_jobs.end()) {
    remove(entry);
  }
  makeRoom(now);
  return findOnDisk(key, now);
}

// If jobs never expire, the file is not examined.
bool JobManager::isFresh(JobInfo& job, time_t now) const {
  if (m_maxAge == 0) {
    return true;
  }
  refreshLastUsed(job);
  return !hasExpired(ageAt(now, job.m_lastUsed), m_maxAge);
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
      removeJobFile(swept->m_fileName);
    }
  }
}

// Deliberate: every step refreshes the oldest job so far as well, because another process may use
// it during the walk. If several jobs are equally old, the first in key order is evicted. Its file
// stays: the next look-up of the key, here or in another process, finds the same identifier.
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
    removeJobFile(path);
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
  const std::optional<JobFileFields> fields = brix::velmo::readJobFile(fileName);
  if (!fields) {
    return createJob(fileName, jobKey);
  }

  // Deliberate: the new identifier stays in memory, and the file still has none. Processes that
  // share the directory rely on it: a job file never changes after its creation.
  const std::string id = fields->id.empty() ? newJobId() : fields->id;
  auto owned =
      std::make_unique<JobInfo>(fileName, id, fields->user, fields->name, fields->priority);
  JobInfo* const job = owned.get();
  if (!insert(jobKey, owned)) {
    return nullptr;
  }
  markUsed(*job);
  return job;
}

// Deliberate: the temporary file is in a directory that has the job file's own name, and the result
// of the move is ignored. If there is no such directory, nothing is written; if there is one, the
// move onto it fails. Programs rely on it: addJob() never replaces a job file.
void JobManager::addJob(const std::string& jobKey, const std::string& jobId) {
  const std::string path = jobPath(jobKey);
  const std::string temporaryPath = path + "/" + jobKey + ".tmp";
  JobInfo(temporaryPath, jobId, m_user, m_name, 0).createFile();
  static_cast<void>(std::rename(temporaryPath.c_str(), path.c_str()));
}

std::string JobManager::jobPath(const std::string& jobKey) const {
  return m_jobDir + "/" + jobKey;
}

// Takes ownership of the job only if the key is free.
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
