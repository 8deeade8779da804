#include "CreateTaskFile.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "CancellationGuard.h"
#include "Failure.h"
#include "IMException.h"
#include "IMMemSemaphore.h"
#include "IMSemaphore.h"
#include "JobCounter.h"
#include "Joined.h"
#include "PriorityMap.h"
#include "QueueFile.h"
#include "SubmissionEnvironment.h"
#include "SubmissionLog.h"
#include "TaskCounter.h"
#include "TaskFileName.h"

// The order of the steps, the status and the log. Each step is a private unit, which says what
// failed and does not log.

using brix::imutils::CancellationGuard;
using brix::imutils::IMException;
using brix::imutils::IMMemSemaphore;
using brix::imutils::IMSemaphore;
using brix::imutils::joined;
using brix::velmo::directoryFromEnvironment;
using brix::velmo::Failure;
using brix::velmo::JobCounter;
using brix::velmo::logged;
using brix::velmo::Outcome;
using brix::velmo::QueueFile;
using brix::velmo::Step;

namespace {

constexpr int kJobLockSeconds = 30;
constexpr int kNoTaskId = -1;

brix::velmo::PriorityMap g_priorities;
bool g_priorityCreated = false;

bool lockJobCounter(IMSemaphore& semaphore, const std::string& counterFile) {
  try {
    if (semaphore.lock(kJobLockSeconds)) {
      return true;
    }
  } catch (const IMException& exception) {
    logged(Failure{Step::WaitForJobLock, exception.getMessage()});
    return false;
  }
  // Deliberate: not reached with the lock of this library, which throws instead of returning false.
  // The branch stays for programs that interpose another lock: they get an empty identifier and the
  // log line that administrators know.
  logged(Failure{Step::TakeJobLock, counterFile});
  return false;
}

int nextJobNumber(const JobCounter& counter) {
  const JobCounter::Reader reader(counter);
  const JobCounter::Next next = reader.next();
  logged(next.failure);
  return next.number;
}

std::string withServerIdentity(const std::string& jobId) {
  const char* directory = std::getenv("CONF");
  if (directory == nullptr) {
    return jobId;
  }
  const brix::velmo::ServerIdentity identity = brix::velmo::readServerIdentity(directory);
  logged(identity.failure);
  return identity.name ? *identity.name + "-" + jobId : jobId;
}

std::string givenOrNewJobId(const CreateTaskFile& identifiers, const char* jobId) {
  if (jobId != nullptr && *jobId != '\0') {
    return jobId;
  }
  const std::string newId = identifiers.generateJobID();
  return newId.empty() ? "EMPTYJOB" : newId;
}

// Copying a longer command costs more than another system call.
constexpr std::size_t kLargeCommand = 8192;

// What follows the command in the contents.
std::string contentsBehindCommand(const TaskFileDescriptor& descriptor) {
  return descriptor.jobInfo == nullptr ? "\n" : joined({"\n", descriptor.jobInfo, "\n"});
}

// Deliberate: a large command goes into the file from the caller's memory, without
// getTaskContents(), which would copy it. The file is the same.
Outcome writeContents(const CreateTaskFile& writer, TaskFileDescriptor& descriptor,
                      const QueueFile& file) {
  const std::string_view command = descriptor.command;
  return command.size() > kLargeCommand
             ? file.writeParts(command, contentsBehindCommand(descriptor))
             : file.write(writer.getTaskContents(descriptor));
}

// Holds the semaphore of the task counter, and releases it also if an exception or a cancellation
// leaves the scope. Otherwise nobody on the machine could submit until this process ends.
class HeldSemaphore {
 public:
  explicit HeldSemaphore(IMMemSemaphore& semaphore) : m_semaphore(&semaphore) {}
  HeldSemaphore(const HeldSemaphore&) = delete;
  HeldSemaphore& operator=(const HeldSemaphore&) = delete;

  ~HeldSemaphore() {
    if (m_semaphore != nullptr) {
      m_semaphore->unlock();
    }
  }

  bool release() {
    return std::exchange(m_semaphore, nullptr)->unlock();
  }

 private:
  IMMemSemaphore* m_semaphore;
};

}  // namespace

bool CreateTaskFile::createPriorityMap() const {
  if (g_priorityCreated) {
    return true;
  }
  g_priorityCreated = true;  // before the load: a load that fails is not repeated

  const std::string confFile = brix::velmo::priorityFileFromEnvironment("CONF");
  const std::string homeFile = brix::velmo::priorityFileFromEnvironment("VELMO_HOME");
  logged(g_priorities.loadHome(homeFile));
  g_priorities.loadConf(confFile);
  return true;
}

// The thread can be cancelled while it waits for the lock, but not while it holds it.
std::string CreateTaskFile::generateJobID() const {
  const JobCounter counter(directoryFromEnvironment("DATA"));
  IMSemaphore semaphore("velmo_jobid", true);
  if (!lockJobCounter(semaphore, counter.file())) {
    return {};
  }
  const CancellationGuard guard;
  const int number = nextJobNumber(counter);
  if (logged(counter.save(number))) {
    return {};
  }
  return withServerIdentity("J" + std::to_string(number));
}

int CreateTaskFile::generateTaskID() const {
  const auto segmentKey = brix::velmo::keyFromEnvironment("SHARED_VELMO_TASKID");
  if (logged(segmentKey.failure)) {
    return kNoTaskId;
  }
  const auto semaphoreKey = brix::velmo::keyFromEnvironment("SEMAPHORE_VELMO_TASKID");
  if (logged(semaphoreKey.failure)) {
    return kNoTaskId;
  }

  IMMemSemaphore semaphore(semaphoreKey.number, false);  // the service sets its value
  if (!semaphore.lock()) {
    logged(Failure{Step::LockSemaphore});
    return kNoTaskId;
  }
  HeldSemaphore held(semaphore);
  const brix::velmo::IssuedTaskId issued = brix::velmo::advanceTaskCounter(segmentKey.number);
  const bool hasFailed = logged(issued.failure);
  // An identifier issued under a semaphore that cannot be released is not used: another process
  // might get the same one.
  if (!held.release()) {
    logged(Failure{Step::UnlockSemaphore});
    return kNoTaskId;
  }
  if (hasFailed) {
    return kNoTaskId;
  }
  return issued.taskId;
}

std::string CreateTaskFile::getFileName(TaskFileDescriptor& descriptor) const {
  createPriorityMap();
  if (descriptor.commandType == nullptr) {
    descriptor.commandType = "sh";
  }
  if (descriptor.subJobId == nullptr) {
    descriptor.subJobId = "0";
  }

  const auto priority =
      g_priorities.effectivePriority(descriptor.priorityType, descriptor.deltaType);
  logged(priority.failure);
  // Evaluated in this order. The time is that of the call, not of the end of a wait for a lock.
  const brix::velmo::TaskFileName name{priority.number,
                                       brix::velmo::currentTimestamp(),
                                       givenOrNewJobId(*this, descriptor.jobId),
                                       descriptor.subJobId,
                                       generateTaskID(),
                                       descriptor.relPriority,
                                       descriptor.commandType};
  return name.taskId < 0 ? std::string() : brix::velmo::formatTaskFileName(name);
}

// cppcheck-suppress constParameter  // the signature is the interface
std::string CreateTaskFile::getTaskContents(TaskFileDescriptor& descriptor) const {
  if (descriptor.command == nullptr) {
    return {};
  }
  return joined({descriptor.command, contentsBehindCommand(descriptor)});
}

int CreateTaskFile::createFile(TaskFileDescriptor& descriptor) {
  if (descriptor.priorityType == nullptr) {
    logged(Failure{Step::TakeClass});
    return 1;
  }
  if (descriptor.command == nullptr) {
    logged(Failure{Step::TakeCommand});
    return 1;
  }

  const std::string name = getFileName(descriptor);
  if (name.empty()) {
    return -1;
  }
  const std::string baseDirectory = directoryFromEnvironment("VAR");  // before the next look-up
  const QueueFile file(directoryFromEnvironment("TMP"), baseDirectory, name);
  if (logged(writeContents(*this, descriptor, file)) || logged(file.move())) {
    return 1;
  }
  return 0;
}

int createTaskFile(const char* priorityType, const char* command, const char* commandType,
                   const char* deltaType, const char* jobId, const char* subJobId,
                   const char* jobInfo, int relPriority) {
  TaskFileDescriptor descriptor{priorityType, command,  commandType, deltaType,
                                jobId,        subJobId, jobInfo,     relPriority};
  return CreateTaskFile().createFile(descriptor);
}

int createChildTask(const char* priorityType, const char* command, const char* commandType,
                    const char* deltaType, const char* jobId, const char* subJobId,
                    const char* childSuffix, const char* jobInfo, int relPriority) {
  if (subJobId == nullptr) {
    return createTaskFile(priorityType, command, commandType, deltaType, jobId, nullptr, jobInfo,
                          relPriority);
  }
  const auto child = brix::velmo::childSubJobId(subJobId, childSuffix);
  // Deliberate: callers catch the exception that substr throws if there is no underscore.
  const std::string childId = child ? *child : std::string(subJobId).substr(std::string::npos);
  return createTaskFile(priorityType, command, commandType, deltaType, jobId, childId.c_str(),
                        jobInfo, relPriority);
}

char* generateJobID() {
  const std::string jobId = CreateTaskFile().generateJobID();
  char* copy = new char[jobId.size() + 1];
  std::memcpy(copy, jobId.c_str(), jobId.size() + 1);
  return copy;
}
