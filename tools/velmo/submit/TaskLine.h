#ifndef VELMO_TASKLINE_H
#define VELMO_TASKLINE_H

#include <velmo/velmo.hpp>

#include <string_view>

namespace velmo::cli {

/// Whether a line is a JSON object: "{" and a quotation mark or "}" begin it, with or without
/// blanks in front of each, and a byte order mark in front of all. Such a line is never run as a
/// shell command, even if it is malformed.
bool isJsonObject(std::string_view line);

/// The task of a line: the line is its command, or a JSON object with any of the fields
/// priority_class, command, type, adjustment, job, sub_job, information and relative_priority.
/// @param line      without its line feed
/// @param defaults  the fields that the line does not have
/// @throws Failure  Status::invalidArgument: malformed JSON, an unknown field, or a field that
/// is given twice or has the wrong type
Task taskOf(std::string_view line, const Task& defaults);

}  // namespace velmo::cli

#endif
