#ifndef VELMO_LINEOUTCOME_H
#define VELMO_LINEOUTCOME_H

#include <velmo/velmo.hpp>

#include <cstdint>
#include <string>

namespace velmo::cli {

/// The outcome of a line of the input.
struct LineOutcome {
  Status status = Status::ok;
  std::string name{};         ///< of the task, if it is queued, or may be and the name is known
  std::string message{};      ///< of a failure, for people
  Status cause = Status::ok;  ///< of a doubt: why the outcome is not known
};

/// The line that reports an outcome: "LINE<TAB>STATUS<TAB>NAME", or the message in place of the
/// name.
std::string textLine(std::uint64_t number, const LineOutcome& outcome);

/// The same as a JSON object: {"line":3,"status":"ok","name":"..."}.
std::string jsonLineOf(std::uint64_t number, const LineOutcome& outcome);

}  // namespace velmo::cli

#endif
