#ifndef VELMO_STANDIN_TASKREQUEST_H
#define VELMO_STANDIN_TASKREQUEST_H

#include <velmo/velmo.pb.h>

#include <string>

namespace velmo::standin {

/// Parses a message: a BaseMessage with a complete AddTaskRequest whose texts a task file can
/// contain. A NUL or a line feed would break the file's lines; a slash in an identifier would put
/// the file into another directory.
/// @throws Refusal
service::velmo::AddTaskRequest parseRequest(const std::string& message);

/// The message that answers a request with the name of its task.
std::string responseMessage(const std::string& taskName);

}  // namespace velmo::standin

#endif
