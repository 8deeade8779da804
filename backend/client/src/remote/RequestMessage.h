#ifndef VELMO_REQUESTMESSAGE_H
#define VELMO_REQUESTMESSAGE_H

#include <string>
#include <string_view>

namespace velmo::client {

/// The kinds of tasks in the schema "velmo.proto".
enum class WireTaskType : unsigned char { JavaClass = 1, ShellScript = 2 };

/// The fields of an AddTaskRequest, in the order of their numbers.
struct RequestFields {
  std::string_view priorityType;
  std::string_view command;
  WireTaskType taskType = WireTaskType::ShellScript;
  std::string_view deltaType;
  std::string_view jobId;
  std::string_view subJobId;
  std::string_view jobInfo;
  int relPriority = 0;
};

/// The bytes of the BaseMessage that contains this request: those that Protocol Buffers writes. All
/// eight fields are there, also the empty ones.
std::string requestMessage(const RequestFields& fields);

}  // namespace velmo::client

#endif
