// Hands two tasks of one job to the velmo service. The job is kept under a key of our choice, so
// that every process and every later run that uses the same directory finds the same identifier
// for it, until nobody has used it for a day.
//
// The library learns from the environment where the service is. To try it without one, twice over
// the same installation:
//
//   velmo-standin --home DIR -- job_registry

#include <velmo/CreateTaskFile.h>
#include <velmo/JobManager.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace {

constexpr unsigned long kMostJobsInMemory = 100;
constexpr long kMaxAgeSeconds = 24L * 60 * 60;

// Gives new jobs their priority, which their files keep. The manager asks, but does not own it.
class ReportPriority : public JobPropertyGetter {
 public:
  int getPriority() override {
    return 500;
  }
};

// The directory has to exist; each job has one file in it.
std::string jobDirectory(int argumentCount, char** arguments) {
  if (argumentCount > 1) {
    return arguments[1];
  }
  const char* directory = std::getenv("VAR");
  return directory != nullptr ? directory : ".";
}

// The job's identifier goes into the names of its task files, its job information into the files.
bool submit(const JobInfo& job, const char* command) {
  const int result = createTaskFile("Normal", command, "sh", nullptr, job.m_id.c_str(), nullptr,
                                    job.m_jobInfo.c_str(), 0);
  if (result != 0) {
    std::cerr << "not queued: " << command << " (the reason is in the system log)\n";
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
    std::cerr << "no job identifier (the reason is in the system log)\n";
    return false;
  }
  std::cout << "job " << job->m_id << ", kept in " << job->m_fileName << '\n';

  const bool collected = submit(*job, "echo collect");
  const bool printed = submit(*job, "echo print");
  return collected && printed;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return submitReport(jobDirectory(argc, argv)) ? 0 : 1;
  } catch (const std::exception& failure) {  // VELMO_HOME or CONF is not set
    std::cerr << "cannot submit: " << failure.what() << '\n';
    return 1;
  }
}
