#include "SystemLog.h"

#include <syslog.h>

#include <cstring>
#include <string>

namespace brix::imutils {

void logError(const char* identity, const char* text) noexcept {
  openlog(identity, LOG_PID, LOG_LOCAL3);
  syslog(LOG_ERR, "%s", text);
  closelog();
}

void logErrno(const char* identity, int error) {
  const std::string text =
      "Errno: " + std::to_string(error) + " Strerror: " + std::strerror(error) + "\n";
  logError(identity, text.c_str());
}

}  // namespace brix::imutils
