#ifndef VELMO_SYSTEMLOG_H
#define VELMO_SYSTEMLOG_H

namespace brix::imutils {

/// Writes one line to the system log as a complete cycle of its own: openlog with `identity`,
/// LOG_PID and LOG_LOCAL3, one syslog at LOG_ERR, closelog.
///
/// `text` is written as it stands, percent signs and a line feed at its end included, and is never
/// cut. Nothing is allocated, nothing thrown. The cycle replaces what the program around the
/// library had set with its own openlog, and may change errno: save an error number before the
/// first line that follows the failure.
void logError(const char* identity, const char* text);

/// Writes the line that names an error number: "Errno: %d Strerror: %s\n".
void logErrno(const char* identity, int error);

}  // namespace brix::imutils

#endif
