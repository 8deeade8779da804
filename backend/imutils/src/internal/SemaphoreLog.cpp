#include "SemaphoreLog.h"

#include <array>
#include <cstddef>
#include <cstdio>

#include "SystemLog.h"

namespace brix::imutils {

namespace {

constexpr const char* kLogIdentity = "IMMemSemaphore";
constexpr std::size_t kLogLineSize = 96;  // the longest line has 60 characters

const char* textOf(SemaphoreCall call) {
  switch (call) {
    case SemaphoreCall::Get:
      return "Semaphore constructor - semget failed for key";
    case SemaphoreCall::Init:
      return "Semaphore init - semctl failed for id:";
    case SemaphoreCall::Lock:
      return "Semaphore lock - semop failed for id:";
    case SemaphoreCall::Unlock:
      return "Semaphore unlock - semop failed for id:";
    case SemaphoreCall::Close:
      return "Semaphore close - semctl failed for id:";
  }
  return "";
}

}  // namespace

void logSemaphoreFailure(SemaphoreCall call, const char* number) {
  std::array<char, kLogLineSize> line{};
  std::snprintf(line.data(), line.size(), "%s%s", textOf(call), number);
  logError(kLogIdentity, line.data());
}

}  // namespace brix::imutils
