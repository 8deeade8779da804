#include "TaskCounter.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "Numbering.h"

namespace brix::velmo {

namespace {

constexpr int kCreateForAll = IPC_CREAT | 0666;

}  // namespace

IssuedTaskId advanceTaskCounter(int segmentKey) {
  const int segment = shmget(segmentKey, sizeof(std::int32_t), kCreateForAll);
  if (segment < 0) {
    return {0, Failure{Step::GetSegment, std::to_string(segmentKey), errno}};
  }
  void* const address = shmat(segment, nullptr, 0);
  if (reinterpret_cast<std::intptr_t>(address) == -1) {
    return {0, Failure{Step::AttachSegment, std::to_string(segment), errno}};
  }

  auto* const counter = static_cast<std::int32_t*>(address);
  const std::int32_t taskId = followingTaskId(*counter);
  *counter = taskId;

  if (shmdt(address) != 0) {
    return {0, Failure{Step::DetachSegment, std::to_string(segment), errno}};
  }
  return {taskId, std::nullopt};
}

}  // namespace brix::velmo
