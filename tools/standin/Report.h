#ifndef VELMO_STANDIN_REPORT_H
#define VELMO_STANDIN_REPORT_H

#include <string>
#include <string_view>
#include <system_error>

namespace standin {

/// The line that report() writes: the program's name, a colon and the text, with a question mark in
/// place of every control character, so that one report is one line whatever a file is called.
std::string reportLine(std::string_view text);

/// Writes one line to standard error, at once and in one piece. A failure goes unnoticed: there is
/// nowhere left to tell of it.
void report(std::string_view text);

/// Writes one line of a task's output to standard error, in one piece if it is short: behind
/// "velmo-standin: | ", its bytes as they are, with a line feed behind them.
void reportOutput(std::string_view line);

/// The error of the system call that just failed (errno), as "WHAT: TEXT".
std::system_error systemError(const std::string& what);

}  // namespace standin

#endif
