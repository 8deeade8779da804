#include "TaskRequest.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstddef>
#include <string_view>
#include <vector>

#include "Refusal.h"

using service::velmo::AddTaskRequest;
using service::velmo::BaseMessage;

namespace velmo::standin {

namespace {

void refuseIfItContains(char character, const char* characterName, const char* field,
                        std::string_view text) {
  if (text.find(character) != std::string_view::npos) {
    throw Refusal(CloseCode::kPolicy, fmt::format("its {} holds {}", field, characterName));
  }
}

// A command with a line feed in it would be run only up to there.
void checkText(const char* field, std::string_view text) {
  refuseIfItContains('\0', "a NUL", field, text);
  refuseIfItContains('\n', "a line feed", field, text);
}

void checkIdentifier(const char* field, std::string_view text) {
  checkText(field, text);
  refuseIfItContains('/', "a slash", field, text);
}

std::string missingFields(const AddTaskRequest& request) {
  std::vector<std::string> names;
  request.FindInitializationErrors(&names);
  return fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace

AddTaskRequest parseRequest(const std::string& message) {
  BaseMessage envelope;
  if (!envelope.ParsePartialFromString(message)) {  // "partial": missing fields are reported below
    throw Refusal(CloseCode::kMalformed, "not a BaseMessage");
  }
  if (!envelope.has_addtaskrequest()) {
    throw Refusal(CloseCode::kUnsupported, "a BaseMessage without an addTaskRequest");
  }
  const AddTaskRequest& request = envelope.addtaskrequest();
  if (!request.IsInitialized()) {
    throw Refusal(CloseCode::kMalformed,
                  "its addTaskRequest lacks or does not know " + missingFields(request));
  }
  checkText("priorityType", request.prioritytype());
  checkText("command", request.command());
  checkText("deltaType", request.deltatype());
  checkIdentifier("jobId", request.jobid());
  checkIdentifier("subJobId", request.subjobid());
  checkText("jobInfo", request.jobinfo());
  return request;
}

std::string responseMessage(const std::string& taskName) {
  BaseMessage envelope;
  envelope.mutable_addtaskresponse()->set_taskname(taskName);
  return envelope.SerializeAsString();
}

}  // namespace velmo::standin
