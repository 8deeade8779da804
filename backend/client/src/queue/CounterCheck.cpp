#include "CounterCheck.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "Holder.h"
#include "JobNumber.h"
#include "LockAttempt.h"
#include "LogoutRemoval.h"

namespace velmo::client {

namespace {

constexpr int kReadAndWrite = 0600;  // what the program must be permitted to do

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

// The platform leaves the declaration of semctl's last argument to its callers.
union SemaphoreArgument {
  int value;
  semid_ds* status;
};

Fault faultOf(Problem problem, int key, int error = 0) {
  return {problem, std::to_string(key), {}, error};
}

Fault faultOf(Problem problem, int key, const std::string& detail) {
  return {problem, std::to_string(key), detail};
}

void checkOwner(const char* object, const ipc_perm& permissions, const std::string& systemRoot,
                const Report& report) {
  if (isRemovedAtLogout(permissions.uid, systemRoot)) {
    report({Problem::RemovedAtLogout, object, std::to_string(permissions.uid)});
  }
}

void checkValue(int key, int id, const semid_ds& status, const Report& report) {
  const int value = semctl(id, 0, GETVAL);
  if (value < 0) {
    report(faultOf(Problem::SemaphoreFailed, key, errno));
  } else if (value == 0 && status.sem_otime == 0) {
    report(faultOf(Problem::SemaphoreNeverReady, key));
  } else if (value == 0) {
    report(faultOf(Problem::SemaphoreTimedOut, key, describeLastTaker(id)));
  } else if (value > 1) {
    report(faultOf(Problem::SemaphoreAboveOne, key, std::to_string(value)));
  }
}

void checkSemaphore(int key, const std::string& systemRoot, const Report& report) {
  const int id = semget(key, 0, kReadAndWrite);
  if (id < 0) {
    const int error = errno;
    report(error == ENOENT ? faultOf(Problem::SemaphoreMissing, key)
                           : faultOf(Problem::SemaphoreFailed, key, error));
    return;
  }
  semid_ds status{};
  SemaphoreArgument argument{};
  argument.status = &status;
  if (semctl(id, 0, IPC_STAT, argument) != 0) {
    report(faultOf(Problem::SemaphoreFailed, key, errno));
    return;
  }
  if (status.sem_nsems != 1) {
    report(faultOf(Problem::SemaphoreSetTooLarge, key, std::to_string(status.sem_nsems)));
    return;
  }
  checkValue(key, id, status, report);
  checkOwner("the semaphore of the task counter", status.sem_perm, systemRoot, report);
}

void checkSegment(int key, const std::string& systemRoot, const Report& report) {
  const int id = shmget(key, 0, kReadAndWrite);
  if (id < 0) {
    const int error = errno;
    report(error == ENOENT ? faultOf(Problem::SegmentMissing, key)
                           : faultOf(Problem::SegmentFailed, key, error));
    return;
  }
  shmid_ds status{};
  if (shmctl(id, IPC_STAT, &status) != 0) {
    report(faultOf(Problem::SegmentFailed, key, errno));
    return;
  }
  if (status.shm_segsz < sizeof(std::int32_t)) {
    report(faultOf(Problem::SegmentTooSmall, key, std::to_string(status.shm_segsz)));
  }
  checkOwner("the task counter", status.shm_perm, systemRoot, report);
}

}  // namespace

void checkJobCounter(const Settings& settings, const Report& report) {
  const Result<std::string> data = directoryOf(settings.data);
  const Result<std::string> locks = directoryOf(settings.lockVar);
  if (data.isOk()) {
    if (const auto number = readJobCounter(data.value()); !number.isOk()) {
      report(number.fault());
    }
  }
  const std::string copy = settings.data.value + "/velmo/jobid_tmp";
  const bool hasCopy = data.isOk() && exists(copy);
  const std::string lock = brix::imutils::lockPath(settings.lockVar.value, "velmo_jobid").data();
  if (locks.isOk() && exists(lock)) {
    report({Problem::LockTimedOut, lock, describeLockFile(lock)});
  } else if (hasCopy) {  // if the counter is locked, a running program may still need it
    report({Problem::JobCounterCopyLeft, copy});
  }
}

void checkTaskCounter(const Settings& settings, const std::string& systemRoot,
                      const Report& report) {
  const Result<int> segment = keyOf(settings.sharedTaskId);
  const Result<int> semaphore = keyOf(settings.semaphoreTaskId);
  if (!segment.isOk()) {
    report(segment.fault());
  } else {
    checkSegment(segment.value(), systemRoot, report);
  }
  if (!semaphore.isOk()) {
    report(semaphore.fault());
  } else {
    checkSemaphore(semaphore.value(), systemRoot, report);
  }
}

}  // namespace velmo::client
