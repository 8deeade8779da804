#include "message_work.h"

#include <velmo/velmo.pb.h>

#include <sstream>

namespace message_work {

std::string request(const std::string& priorityClass, const std::string& command,
                    const std::string& adjustment, const std::string& job,
                    const std::string& subJob, const std::string& information,
                    int relativePriority) {
  service::velmo::BaseMessage message;
  service::velmo::AddTaskRequest& task = *message.mutable_addtaskrequest();
  task.set_prioritytype(priorityClass);
  task.set_command(command);
  task.set_tasktype(service::velmo::ShellScript);
  task.set_deltatype(adjustment);
  task.set_jobid(job);
  task.set_subjobid(subJob);
  task.set_jobinfo(information);
  task.set_relpriority(relativePriority);
  return message.SerializeAsString();
}

std::string request() {
  return request("Normal", "true", "", "J1", "0", "", 0);
}

bool isReply(const char* bytes, std::size_t size) {
  service::velmo::BaseMessage message;
  if (!message.ParseFromArray(bytes, static_cast<int>(size)) || !message.has_addtaskresponse()) {
    return false;
  }
  const std::string name = message.addtaskresponse().taskname();
  return !name.empty();
}

bool isReplyInStream(const char* bytes, std::size_t size) {
  std::stringstream stream;
  stream.write(bytes, static_cast<std::streamsize>(size));
  service::velmo::BaseMessage parsed;
  if (!parsed.ParseFromIstream(&stream)) {
    return false;
  }
  service::velmo::BaseMessage message;
  message.CopyFrom(parsed);
  const std::string name = message.addtaskresponse().taskname();
  return !name.empty();
}

}  // namespace message_work
