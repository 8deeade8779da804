#ifndef VELMO_TASKLINE_H
#define VELMO_TASKLINE_H

#include <velmo/velmo.hpp>

#include <string_view>

namespace velmo::cli {

/// Whether a line is a JSON object: it begins with "{" and, after blanks, a quotation mark or "}".
/// Such a line is never run as a shell command, even if it is malformed.
bool isJsonObject(std::string_view line);

/// The task that a line stands for: its command, or in a JSON object any of the fields
/// priority_class, command, type, adjustment, job, sub_job, information and relative_priority.
/// @param line      without its line feed
/// @param defaults  the fields that the line does not have
/// @throws Failure  Status::invalidArgument: malformed JSON, an unknown field, or a field that
/// is given twice or has the wrong type
Task taskOf(std::string_view line, const Task& defaults);

}  // namespace velmo::cli

#endif
