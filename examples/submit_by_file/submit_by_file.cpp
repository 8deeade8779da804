// Hands tasks to the velmo service by file: a job of three tasks of different urgency, and a child
// of one of them.
//
// The library learns from the environment where the service is. To try it without one:
//
//   velmo-standin -- submit_by_file

#include <velmo/CreateTaskFile.h>

#include <exception>
#include <iostream>
#include <memory>

namespace {

// What the functions that submit return. The reason of a failure is in the system log.
bool isQueued(const char* what, int result) {
  switch (result) {
    case 0:
      std::cout << "queued: " << what << '\n';
      return true;
    case -1:
      std::cerr << what << ": no task identifier; is the service running?\n";
      return false;
    default:  // 1
      std::cerr << what << ": refused, or its file could not be written to the queue\n";
      return false;
  }
}

bool submitJob() {
  // Tasks that belong together share a job identifier. The text is ours to release with delete[],
  // which this pointer does.
  const std::unique_ptr<char[]> jobId(generateJobID());
  if (jobId[0] == '\0') {
    std::cerr << "no job identifier\n";
    return false;
  }
  const char* job = jobId.get();
  std::cout << "job " << job << '\n';

  // Class, command, kind of command (null: "sh"), adjustment, job, sub-job (null: "0"), job
  // information, priority within the class. Classes and adjustments are names in "priorities.cfg".
  bool all =
      isQueued("collect, Normal", createTaskFile("Normal", "echo collect", nullptr, nullptr, job,
                                                 "0_report", "#1USE=demo#1JNA=report", 0));
  all &= isQueued("archive, Batch, Sooner", createTaskFile("Batch", "echo archive", "sh", "Sooner",
                                                           job, nullptr, nullptr, 0));
  all &= isQueued("notify, Urgent",
                  createTaskFile("Urgent", "echo notify", "sh", nullptr, job, nullptr, nullptr, 0));

  // A child of the sub-job 0_report, marked "print": its sub-job is 1_report_print.
  all &= isQueued("print, Normal, Later, child of collect",
                  createChildTask("Normal", "echo print", "sh", "Later", job, "0_report", "print",
                                  "#1USE=demo#1JNA=report", 0));
  return all;
}

}  // namespace

int main() {
  try {
    return submitJob() ? 0 : 1;
  } catch (const std::exception& failure) {  // VELMO_HOME or CONF is not set
    std::cerr << "cannot submit: " << failure.what() << '\n';
    return 1;
  }
}
