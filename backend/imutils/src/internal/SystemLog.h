#ifndef VELMO_SYSTEMLOG_H
#define VELMO_SYSTEMLOG_H

namespace brix::imutils {

/// Writes one line to the system log with a complete cycle of calls: openlog with `identity`,
/// LOG_PID and LOG_LOCAL3, one syslog at LOG_ERR, closelog.
///
/// `text` is written as it is, including percent signs and a line feed at its end, and is never
/// truncated. Allocates nothing and throws nothing. The cycle undoes the program's own openlog and
/// may change errno: after a failure, save the error number before the first line.
void logError(const char* identity, const char* text);

/// Writes the line that names an error number: "Errno: %d Strerror: %s\n".
void logErrno(const char* identity, int error);

}  // namespace brix::imutils

#endif
