#ifndef VELMO_HOLDER_H
#define VELMO_HOLDER_H

#include <string>

namespace velmo::client {

/// Since when a lock file exists and, if it holds a process id, which process made it and whether
/// that is running: "has existed since 2026-11-22 02:39:20 (for 12 s), made by process 123, which
/// has ended". The time is local.
std::string describeLockFile(const std::string& path);

/// Who took a semaphore last, and whether that process has ended: "process 123 took it last",
/// "process 123, which has ended, took it last".
/// @param semaphoreId  of the set
std::string describeLastTaker(int semaphoreId);

}  // namespace velmo::client

#endif
