#ifndef VELMO_DRYRUN_H
#define VELMO_DRYRUN_H

#include <velmo/velmo.hpp>

#include <string>
#include <string_view>
#include <vector>

#include "JsonLine.h"

namespace velmo::cli {

/// What a submission would do. The exit status is that of the first finding.
// NOLINTNEXTLINE(bugprone-exception-escape): moving Json throws nothing
struct DryRun {
  Json fields{};                  ///< of the task; null: not known, or issued by the submission
  std::string contents{};         ///< of the task file; empty by message
  std::vector<Error> findings{};  ///< what would make it fail, or go unnoticed

  Status status() const {
    return findings.empty() ? Status::ok : findings.front().status();
  }
};

/// Describes a submission by file. Takes no number and writes nothing.
///
/// "path" is that of the task file. Its digits that only the submission can know are question
/// marks: the time, the number of the task, and that of a new job; and the priority, if its class
/// is not known.
/// @throws Error  the check itself failed
DryRun dryRunByFile(const Task& task);

/// Describes a submission by message. Does not connect. If "modules.xml" names no service, or
/// cannot be read, that is the first finding, and "host" and "port" are null.
/// @param endpoint  where it would go
DryRun dryRunByMessage(const Task& task, const Endpoint& endpoint);

/// The lines for people.
std::string textOf(const DryRun& run);

/// One object: the fields, "contents" by file, and "findings".
Json jsonOf(const DryRun& run);

/// A text of any bytes for a terminal: backslashes are doubled, and bytes that are not printable
/// ASCII become \xNN. A line feed becomes \n and ends a line.
std::string visible(std::string_view text);

}  // namespace velmo::cli

#endif
