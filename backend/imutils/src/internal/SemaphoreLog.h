#ifndef VELMO_SEMAPHORELOG_H
#define VELMO_SEMAPHORELOG_H

namespace brix::imutils {

/// The calls on a System V semaphore that can fail.
enum class SemaphoreCall { Get, Init, Lock, Unlock, Close };

/// Writes the line of a failed call to the system log, with the identity "IMMemSemaphore".
/// Allocates nothing.
/// @param number  the key for Get, otherwise the identifier of the set
void logSemaphoreFailure(SemaphoreCall call, const char* number);

}  // namespace brix::imutils

#endif
