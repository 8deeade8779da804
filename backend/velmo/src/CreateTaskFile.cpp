#include "CreateTaskFile.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <utility>

#include "CancellationGuard.h"
#include "IMException.h"
#include "IMMemSemaphore.h"
#include "IMProperties.h"
#include "IMSemaphore.h"
#include "ScanInt.h"
#include "StdioFile.h"
#include "SystemLog.h"

using brix::imutils::CancellationGuard;
using brix::imutils::IMException;
using brix::imutils::IMMemSemaphore;
using brix::imutils::IMProperties;
using brix::imutils::IMSemaphore;
using brix::imutils::scanInt;

namespace {

constexpr const char* kLogIdentity = "CreateTaskFile";
constexpr int kUnknownPriority = 9999;
constexpr int kHighestPriority = 9999;
constexpr int kJobNumbers = 1000000;
constexpr int kJobLockSeconds = 30;
constexpr int kNoTaskId = -1;
constexpr int kLastTaskId = 0x7ffffffe;
constexpr int kCreateForAll = IPC_CREAT | 0666;

IMProperties g_priorities;
bool g_priorityCreated = false;

void logLine(const char* text) {
  brix::imutils::logError(kLogIdentity, text);
}

void logLine(const std::string& text) {
  logLine(text.c_str());
}

void logLines(const std::string& text, int error) {
  logLine(text);
  brix::imutils::logErrno(kLogIdentity, error);
}

// A directory that is not configured reads as the text that formatted output makes of a null one:
// the path then leads nowhere, and the call fails with the error of a missing directory.
std::string directoryFromEnvironment(const char* variable) {
  const char* directory = std::getenv(variable);
  return directory != nullptr ? directory : "(null)";
}

// --- priorities ---

std::string priorityFileFromEnvironment(const char* variable) {
  const char* directory = std::getenv(variable);
  if (directory == nullptr) {
    throw std::logic_error("basic_string::_M_construct null not valid");
  }
  return directory + std::string("/priorities.cfg");
}

std::optional<int> configuredNumber(const char* name) {
  const char* value = g_priorities.getProperty(name);
  if (value == nullptr) {
    return std::nullopt;
  }
  return scanInt(value).value_or(0);
}

// Deliberate: a delta of 0 leaves the class as it is configured, even outside 0 to 9999.
int adjustPriority(int priority, int delta) {
  if (delta == 0) {
    return priority;
  }
  const std::int64_t adjusted = std::int64_t{priority} + delta;
  return static_cast<int>(std::clamp<std::int64_t>(adjusted, 0, kHighestPriority));
}

int effectivePriority(const TaskFileDescriptor& descriptor) {
  const std::optional<int> priority = configuredNumber(descriptor.priorityType);
  if (!priority) {
    logLine(std::string("Velmo unknown priority:") + descriptor.priorityType);
    return kUnknownPriority;
  }
  if (descriptor.deltaType == nullptr) {
    return *priority;
  }
  const std::optional<int> delta = configuredNumber(descriptor.deltaType);
  if (!delta) {
    logLine(std::string("Velmo unknown delta priority:") + descriptor.deltaType);
    return *priority;
  }
  return adjustPriority(*priority, *delta);
}

// --- job identifiers ---

struct JobCounterFiles {
  std::string counter;
  std::string newCopy;
};

// Both at once, before the wait for the lock: a copy must not end up beside another counter.
JobCounterFiles jobCounterFiles() {
  const std::string directory = directoryFromEnvironment("DATA");
  return {directory + "/velmo/jobid", directory + "/velmo/jobid_tmp"};
}

bool lockJobCounter(IMSemaphore& semaphore, const std::string& counterFile) {
  try {
    if (semaphore.lock(kJobLockSeconds)) {
      return true;
    }
  } catch (const IMException& exception) {
    logLine("CreateTaskFile::generateJobID exception: " + exception.getMessage());
    return false;
  }
  logLine("CreateTaskFile::generateJobID the jobid file: " + counterFile + " couldn't be locked\n");
  return false;
}

// A machine without a counter file begins with job 0, not 1.
int nextJobNumber(const std::string& counterFile) {
  const brix::imutils::InputFile file(counterFile.c_str());
  if (!file.isOpen()) {
    return 0;
  }
  const std::optional<int> last = scanInt(file.stream());
  if (!last) {
    logLine("Job ID file cannot be parsed\n");
    return 0;
  }
  return *last >= kJobNumbers - 1 ? 0 : *last + 1;
}

// Written aside and moved into place: a reader never sees half a number.
bool saveJobNumber(const std::string& number, const JobCounterFiles& files) {
  if (const auto error = brix::imutils::writeWholeFile(files.newCopy, number)) {
    logLines("Job ID file cannot be created!\n", *error);
    return false;
  }
  // Deliberate: the outcome is not examined; after a failure the next caller gets this number too.
  static_cast<void>(std::rename(files.newCopy.c_str(), files.counter.c_str()));
  return true;
}

std::string withServerIdentity(const std::string& jobId) {
  const char* directory = std::getenv("CONF");
  if (directory == nullptr) {
    return jobId;
  }
  try {
    IMProperties server;
    server.load((std::string(directory) + "/serverid.cfg").c_str());
    if (const char* identity = server.getProperty("SELF_SERVER_ID")) {
      return std::string(identity) + "-" + jobId;
    }
  } catch (const IMException& exception) {
    logLine("Exception at adding servername: " + exception.getMessage() + "\n");
  }
  return jobId;
}

// --- task identifiers ---

std::optional<int> keyFromEnvironment(const char* variable) {
  const char* key = std::getenv(variable);
  if (key == nullptr) {
    logLine(std::string("createTaskFile getenv(") + variable + ") is NULL");
    return std::nullopt;
  }
  return scanInt(key).value_or(IPC_PRIVATE);
}

// Deliberate: starts again at 0 one short of the largest int. That number itself, should somebody
// else have written it, wraps to the smallest.
std::int32_t followingTaskId(std::int32_t last) {
  if (last == kLastTaskId) {
    return 0;
  }
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(last) + 1U);
}

// Holds a lock that was taken, and gives it back also when the road out is an exception or a thread
// that is cancelled: until this process ends, nobody else on the machine could submit.
class HeldSemaphore {
 public:
  explicit HeldSemaphore(IMMemSemaphore& semaphore) : m_semaphore(&semaphore) {}
  HeldSemaphore(const HeldSemaphore&) = delete;
  HeldSemaphore& operator=(const HeldSemaphore&) = delete;

  ~HeldSemaphore() {
    if (m_semaphore != nullptr) {
      const CancellationGuard guard;  // a failure is logged, and nothing may leave here
      m_semaphore->unlock();
    }
  }

  bool release() {
    return std::exchange(m_semaphore, nullptr)->unlock();
  }

 private:
  IMMemSemaphore* m_semaphore;
};

int advanceTaskCounter(int key) {
  const int segment = shmget(key, sizeof(std::int32_t), kCreateForAll);
  if (segment < 0) {
    logLine("createTaskFile shmget error");
    return kNoTaskId;
  }
  void* address = shmat(segment, nullptr, 0);
  if (reinterpret_cast<std::intptr_t>(address) == -1) {
    logLine("createTaskFile shmat error");
    return kNoTaskId;
  }

  auto* counter = static_cast<std::int32_t*>(address);
  const std::int32_t taskId = followingTaskId(*counter);
  *counter = taskId;

  if (shmdt(address) != 0) {
    logLine("createTaskFile shmdt error");
    return kNoTaskId;
  }
  return taskId;
}

// --- task files ---

std::string localTimestamp() {
  const time_t now = time(nullptr);
  tm local{};
  if (localtime_r(&now, &local) == nullptr) {
    local = tm{};  // a year beyond the calendar leaves it half written
  }
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04ld%02d%02d%02d%02d%02d", local.tm_year + 1900L,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  return text.data();
}

std::string fourDigits(int number) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%04d", number);
  return text.data();
}

std::string givenOrNewJobId(const CreateTaskFile& identifiers, const char* jobId) {
  if (jobId != nullptr && *jobId != '\0') {
    return jobId;
  }
  const std::string newId = identifiers.generateJobID();
  return newId.empty() ? "EMPTYJOB" : newId;
}

// The contents go through formatted output without arguments: a pair of percent signs becomes one.
// Deliberate: any other percent sign stays as it is ("date +%s" is an ordinary command), and an
// argument that nobody passed is never read.
std::string formatWithoutArguments(const std::string& contents) {
  std::string text;
  text.reserve(contents.size());
  for (std::size_t i = 0; i < contents.size(); ++i) {
    text += contents[i];
    if (contents[i] == '%' && i + 1 < contents.size() && contents[i + 1] == '%') {
      ++i;
    }
  }
  return text;
}

bool writeTemporaryFile(const std::string& path, const std::string& contents) {
  if (const auto error = brix::imutils::writeWholeFile(path, formatWithoutArguments(contents))) {
    logLines("File cannot be created: " + path + "\n", *error);
    return false;
  }
  return true;
}

// Deliberate: test and move are two steps, and a file of that name that arrives in between is
// replaced; the task identifier keeps names apart.
bool moveIntoQueue(const std::string& temporaryFile, const std::string& queueFile) {
  if (access(queueFile.c_str(), F_OK) == 0) {
    logLine("CreateTaskFile error: " + queueFile + " already existed! (possibly same task ID)\n");
    return false;
  }
  if (std::rename(temporaryFile.c_str(), queueFile.c_str()) != 0) {
    logLine("CreateTaskFile error: couldn't rename file: " + temporaryFile + " to file " +
            queueFile + "\n");
    return false;
  }
  return true;
}

}  // namespace

bool CreateTaskFile::createPriorityMap() const {
  if (g_priorityCreated) {
    return true;
  }
  g_priorityCreated = true;  // before the load: one that fails is not tried again

  const std::string confFile = priorityFileFromEnvironment("CONF");
  const std::string homeFile = priorityFileFromEnvironment("VELMO_HOME");
  try {
    g_priorities.load(homeFile.c_str());
  } catch (const IMException&) {
    logLine("No file in CreateTaskFile::createPriorityMap(), :" + homeFile);
  }
  try {
    g_priorities.load(confFile.c_str());
  } catch (const IMException&) {
    // Deliberate: of the two files only the first is worth a line.
  }
  return true;
}

// A thread may be cancelled while it waits for the lock, not while it holds it.
std::string CreateTaskFile::generateJobID() const {
  const JobCounterFiles files = jobCounterFiles();
  IMSemaphore semaphore("velmo_jobid", true);
  if (!lockJobCounter(semaphore, files.counter)) {
    return {};
  }
  const CancellationGuard guard;
  const std::string number = std::to_string(nextJobNumber(files.counter));
  if (!saveJobNumber(number, files)) {
    return {};
  }
  return withServerIdentity("J" + number);
}

int CreateTaskFile::generateTaskID() const {
  const std::optional<int> counterKey = keyFromEnvironment("SHARED_VELMO_TASKID");
  if (!counterKey) {
    return kNoTaskId;
  }
  const std::optional<int> semaphoreKey = keyFromEnvironment("SEMAPHORE_VELMO_TASKID");
  if (!semaphoreKey) {
    return kNoTaskId;
  }

  IMMemSemaphore semaphore(*semaphoreKey, false);  // the service's: its value is not ours to set
  if (!semaphore.lock()) {
    logLine("Couldn't lock the semaphore");
    return kNoTaskId;
  }
  HeldSemaphore held(semaphore);
  const int taskId = advanceTaskCounter(*counterKey);
  // An identifier drawn under a lock that cannot be released is given up: another writer might get
  // the same one.
  if (!held.release()) {
    logLine("Couldn't unlock the semaphore");
    return kNoTaskId;
  }
  return taskId;
}

// Parts of the name, in order: priority, time, job, S and sub-job, T and the time again, task, R
// and relative priority, command type. For example
// 0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh
std::string CreateTaskFile::getFileName(TaskFileDescriptor& descriptor) const {
  createPriorityMap();
  if (descriptor.commandType == nullptr) {
    descriptor.commandType = "sh";
  }
  if (descriptor.subJobId == nullptr) {
    descriptor.subJobId = "0";
  }

  const int priority = effectivePriority(descriptor);
  const std::string timestamp = localTimestamp();
  const std::string jobId = givenOrNewJobId(*this, descriptor.jobId);
  const int taskId = generateTaskID();
  if (taskId < 0) {
    return {};
  }
  return fourDigits(priority) + "." + timestamp + "." + jobId + ".S" + descriptor.subJobId + ".T" +
         timestamp + "-" + std::to_string(taskId) + ".R" + fourDigits(descriptor.relPriority) +
         "." + descriptor.commandType;
}

// cppcheck-suppress constParameter  // the signature is the interface
std::string CreateTaskFile::getTaskContents(TaskFileDescriptor& descriptor) const {
  if (descriptor.command == nullptr) {
    return {};
  }
  std::string contents = descriptor.command + std::string("\n");
  if (descriptor.jobInfo != nullptr) {
    contents += descriptor.jobInfo + std::string("\n");
  }
  return contents;
}

int CreateTaskFile::createFile(TaskFileDescriptor& descriptor) {
  if (descriptor.priorityType == nullptr) {
    logLine("Priority type must be given!\n");
    return 1;
  }
  if (descriptor.command == nullptr) {
    logLine("Command type must be given!\n");  // Deliberate: says type, means the command
    return 1;
  }

  const std::string name = getFileName(descriptor);
  if (name.empty()) {
    return -1;
  }
  const std::string queueFile = directoryFromEnvironment("VAR") + "/taskqueue/" + name;
  const std::string temporaryFile = directoryFromEnvironment("TMP") + "/" + name;
  if (!writeTemporaryFile(temporaryFile, getTaskContents(descriptor))) {
    return 1;
  }
  return moveIntoQueue(temporaryFile, queueFile) ? 0 : 1;
}

int createTaskFile(const char* priorityType, const char* command, const char* commandType,
                   const char* deltaType, const char* jobId, const char* subJobId,
                   const char* jobInfo, int relPriority) {
  TaskFileDescriptor descriptor{priorityType, command,  commandType, deltaType,
                                jobId,        subJobId, jobInfo,     relPriority};
  return CreateTaskFile().createFile(descriptor);
}

namespace {

// Deliberate: an identifier without an underscore has no tail, and substr throws std::out_of_range.
std::string childSubJobId(const std::string& parent, const char* childSuffix) {
  const std::size_t underscore = parent.find('_');
  const std::string head = parent.substr(0, underscore);
  std::string tail = parent.substr(underscore);
  if (childSuffix != nullptr) {
    tail += std::string("_") + childSuffix;
  }
  const auto number = static_cast<unsigned long>(std::strtol(head.c_str(), nullptr, 10));
  return std::to_string(static_cast<int>(number + 1)) + tail;
}

}  // namespace

int createChildTask(const char* priorityType, const char* command, const char* commandType,
                    const char* deltaType, const char* jobId, const char* subJobId,
                    const char* childSuffix, const char* jobInfo, int relPriority) {
  if (subJobId == nullptr) {
    return createTaskFile(priorityType, command, commandType, deltaType, jobId, nullptr, jobInfo,
                          relPriority);
  }
  const std::string child = childSubJobId(subJobId, childSuffix);
  return createTaskFile(priorityType, command, commandType, deltaType, jobId, child.c_str(),
                        jobInfo, relPriority);
}

char* generateJobID() {
  const std::string jobId = CreateTaskFile().generateJobID();
  char* copy = new char[jobId.size() + 1];
  std::memcpy(copy, jobId.c_str(), jobId.size() + 1);
  return copy;
}
