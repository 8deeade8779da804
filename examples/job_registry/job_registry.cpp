// Submits two tasks of one job to the velmo service. This program chooses the key of the job.
// Every process and every later run that uses the same directory and key gets the same job
// identifier, until no program has used the job for a day.
//
// The environment tells the library where the service's directories and counters are. To try this
// program without a service, run it twice with the same installation:
//
//   velmo-standin --home DIR -- job_registry

#include <velmo/CreateTaskFile.h>
#include <velmo/JobManager.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

namespace {

constexpr unsigned long kMostJobsInMemory = 100;
constexpr long kMaxAgeSeconds = 24L * 60 * 60;

// Returns the priority of new jobs, which is stored in their files. The manager calls it, but does
// not own it.
class ReportPriority : public JobPropertyGetter {
 public:
  int getPriority() override {
    return 500;
  }
};

std::string valueOf(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr ? value : "";
}

// The registry reports no failures. If it gets no job identifier, it still writes the job's file,
// and every later run then uses a different identifier. Check the environment first to prevent
// this.
bool isEnvironmentComplete() {
  bool isComplete = true;
  for (const char* variable : {"VAR", "TMP", "VELMO_HOME", "CONF", "DATA", "LOCK_VAR",
                               "SHARED_VELMO_TASKID", "SEMAPHORE_VELMO_TASKID"}) {
    if (valueOf(variable).empty()) {
      std::cerr << "not set: " << variable << '\n';
      isComplete = false;
    }
  }
  return isComplete;
}

bool isDirectory(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) {
    std::cerr << "not a directory: " << path << '\n';
    return false;
  }
  return true;
}

// The names of the task files contain the job's identifier; the files contain its job information.
bool submit(const JobInfo& job, const char* command) {
  const int result = createTaskFile("Normal", command, "sh", nullptr, job.m_id.c_str(), nullptr,
                                    job.m_jobInfo.c_str(), 0);
  if (result != 0) {
    std::cerr << "not queued: " << command << " (see the system log)\n";
    return false;
  }
  std::cout << "queued: " << command << '\n';
  return true;
}

bool submitReport(const std::string& directory) {
  ReportPriority priority;
  JobManager jobs(directory, kMostJobsInMemory, kMaxAgeSeconds, "demo", "report", &priority);

  // The manager owns the job; it stays valid until a later findJobInfo() drops it.
  const JobInfo* job = jobs.findJobInfo("daily-report");
  if (job->m_id.empty()) {
    std::cerr << "no job identifier (see the system log)\n";
    std::error_code ignored;
    std::filesystem::remove(job->m_fileName, ignored);  // the file has no identifier either
    return false;
  }
  std::cout << "job " << job->m_id << ", kept in " << job->m_fileName << '\n';

  const bool collected = submit(*job, "echo collect");
  const bool printed = submit(*job, "echo print");
  return collected && printed;
}

}  // namespace

int main(int argc, char** argv) {
  if (!isEnvironmentComplete()) {
    return 1;
  }
  // The directory of the job files, one file for each job. It must exist.
  const std::string jobDirectory = argc > 1 ? argv[1] : valueOf("VAR");
  const std::string counterDirectory = valueOf("DATA") + "/velmo";
  const std::string lockDirectory = valueOf("LOCK_VAR");
  if (!isDirectory(jobDirectory) || !isDirectory(counterDirectory) || !isDirectory(lockDirectory)) {
    return 1;
  }
  return submitReport(jobDirectory) ? 0 : 1;
}
