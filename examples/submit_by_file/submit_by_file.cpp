// Submits tasks to the velmo service by file: a job of three tasks with different priorities, and a
// child of one of them.
//
// The environment tells the library where the service's directories and counters are. To try this
// program without a service:
//
//   velmo-standin -- submit_by_file

#include <velmo/CreateTaskFile.h>

#include <iostream>
#include <memory>
#include <stdexcept>

namespace {

// Reports the result of a submission. The library logs why a submission failed:
// journalctl -t CreateTaskFile -t IMMemSemaphore
bool isQueued(const char* what, int result) {
  switch (result) {
    case 0:
      std::cout << "queued: " << what << '\n';
      return true;
    case -1:
      std::cerr << what << ": no task identifier (see the system log); is the service running?\n";
      return false;
    default:  // 1
      std::cerr << what << ": refused, or not written to the queue (see the system log)\n";
      return false;
  }
}

bool submitJob() {
  // Tasks that belong together share a job identifier. The caller frees the text with delete[],
  // which this pointer does.
  const std::unique_ptr<char[]> jobId(generateJobID());
  if (jobId[0] == '\0') {
    std::cerr << "no job identifier (see the system log)\n";
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
  } catch (const std::logic_error&) {
    std::cerr << "cannot submit: VELMO_HOME or CONF is not set\n";
    return 1;
  }
}
