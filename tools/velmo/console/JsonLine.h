#ifndef VELMO_JSONLINE_H
#define VELMO_JSONLINE_H

#include <velmo/velmo.hpp>

#include <nlohmann/json.hpp>
#include <string>

namespace velmo::cli {

/// An object whose fields keep their order.
using Json = nlohmann::ordered_json;

/// The object on one line, with a line feed. Bytes that are not UTF-8 become U+FFFD.
/// Control characters are escaped, also those that JSON permits.
std::string jsonLine(const Json& object);

/// The fields of a task's name: "name", "priority", "created" (local time, ISO 8601), "job",
/// "sub_job", "task", "relative_priority", "type".
Json fieldsOf(const std::string& name, const TaskName& parts);

/// The name of a status in JSON, such as "not_configured"; that of velmo_status_code without its
/// prefix.
std::string wordOf(Status status);

}  // namespace velmo::cli

#endif
