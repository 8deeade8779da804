#include "message_work.h"

#include <velmo/velmo.pb.h>

namespace message_work {

std::string request() {
  service::velmo::BaseMessage message;
  service::velmo::AddTaskRequest& task = *message.mutable_addtaskrequest();
  task.set_prioritytype("Normal");
  task.set_command("true");
  task.set_tasktype(service::velmo::ShellScript);
  task.set_deltatype("");
  task.set_jobid("J1");
  task.set_subjobid("0");
  task.set_jobinfo("");
  task.set_relpriority(0);
  return message.SerializeAsString();
}

bool isReply(const char* bytes, std::size_t size) {
  service::velmo::BaseMessage message;
  if (!message.ParseFromArray(bytes, static_cast<int>(size)) || !message.has_addtaskresponse()) {
    return false;
  }
  const std::string name = message.addtaskresponse().taskname();
  return !name.empty();
}

}  // namespace message_work
