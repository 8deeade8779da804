#include "SystemLog.h"

#include <syslog.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "CancellationGuard.h"

namespace brix::imutils {

namespace {

constexpr std::size_t kErrnoLineSize = 256;  // the platform's texts have some 50 characters

}  // namespace

// A thread cancelled in syslog would lose the descriptor of its socket, and callers log in
// destructors, where a cancellation ends the process.
void logError(const char* identity, const char* text) {
  const CancellationGuard guard;
  openlog(identity, LOG_PID, LOG_LOCAL3);
  syslog(LOG_ERR, "%s", text);
  closelog();
}

void logErrno(const char* identity, int error) {
  std::array<char, kErrnoLineSize> line{};
  std::snprintf(line.data(), line.size(), "Errno: %d Strerror: %s\n", error, std::strerror(error));
  logError(identity, line.data());
}

}  // namespace brix::imutils
