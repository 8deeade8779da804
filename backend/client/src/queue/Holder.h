#ifndef VELMO_HOLDER_H
#define VELMO_HOLDER_H

#include <sys/types.h>

#include <string>
#include <string_view>

namespace velmo::client {

/// The process id in the contents of a lock file, as JobLock writes them: "123" and a line feed. 0
/// for other contents, such as those of older programs, which are empty.
pid_t processIdIn(std::string_view contents);

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
