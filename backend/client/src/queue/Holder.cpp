#include "Holder.h"

#include <fcntl.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <string_view>
#include <system_error>

#include "Duration.h"
#include "FileCalls.h"

namespace velmo::client {

namespace {

bool isRunning(pid_t process) {
  return kill(process, 0) == 0 || errno == EPERM;
}

std::string localTime(time_t seconds) {
  tm local{};
  std::array<char, 64> text{};
  if (localtime_r(&seconds, &local) == nullptr) {
    return "an unknown time";  // a year beyond the calendar
  }
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return text.data();
}

// The process id in a lock file; 0 if it holds none. A link in its place is not followed.
pid_t makerOf(const std::string& path) {
  const FileStart start = readStart(path, O_NOFOLLOW);
  return start.error == 0 ? processIdIn(start.text()) : 0;
}

std::string describeMaker(pid_t process) {
  if (process == 0) {
    return "";
  }
  return ", made by process " + std::to_string(process) +
         (isRunning(process) ? ", which is running" : ", which has ended");
}

}  // namespace

pid_t processIdIn(std::string_view contents) {
  if (!contents.empty() && contents.back() == '\n') {
    contents.remove_suffix(1);
  }
  pid_t process = 0;
  const char* const end = contents.data() + contents.size();
  const auto [stop, error] = std::from_chars(contents.data(), end, process);
  return error == std::errc() && stop == end && process > 0 ? process : 0;
}

std::string describeLockFile(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    return errno == ENOENT ? "has just been removed" : "exists";
  }
  const time_t age = time(nullptr) - status.st_mtime;
  // Below 0 if the clock was set back since then.
  const std::string duration = age >= 0 ? " (for " + roughly(age) + ")" : "";
  return "has existed since " + localTime(status.st_mtime) + duration +
         describeMaker(makerOf(path));
}

std::string describeLastTaker(int semaphoreId) {
  const pid_t process = semctl(semaphoreId, 0, GETPID);
  if (process <= 0) {  // not permitted to know, or in another process namespace
    return "an unknown process took it last";
  }
  return "process " + std::to_string(process) +
         (isRunning(process) ? " took it last" : ", which has ended, took it last");
}

}  // namespace velmo::client
