#ifndef VELMO_STANDIN_REPORT_H
#define VELMO_STANDIN_REPORT_H

#include <string>
#include <string_view>

namespace velmo::standin {

/// The line that report() writes: "velmo-standin: " and the text, with a question mark in place of
/// every control character, so one report is always one line.
std::string reportLine(std::string_view text);

/// Writes one line to standard error, in one call. A failure is ignored: there is nowhere to report
/// it.
void report(std::string_view text);

/// Writes one line of a task's output to standard error: "velmo-standin: | ", the bytes of the line
/// unchanged, and a line feed.
void reportOutput(std::string_view line);

}  // namespace velmo::standin

#endif
