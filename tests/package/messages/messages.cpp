// A program that uses the messages of the installed package: it fills one, serialises it and parses
// it. It prints the message's name, size and fields.

#include <velmo/velmo.pb.h>

#include <iostream>
#include <string>

int main() {
  service::velmo::BaseMessage message;
  service::velmo::AddTaskRequest* request = message.mutable_addtaskrequest();
  request->set_prioritytype("Urgent");
  request->set_command("echo hello");
  request->set_tasktype(service::velmo::ShellScript);
  request->set_deltatype("Later");
  request->set_jobid("J12");
  request->set_subjobid("0");
  request->set_jobinfo("#1USE=u#1JNA=n");
  request->set_relpriority(2);
  std::string bytes;
  if (!message.SerializeToString(&bytes)) {
    return 1;
  }

  service::velmo::BaseMessage parsed;
  if (!parsed.ParseFromString(bytes)) {
    return 1;
  }
  // The descriptor is the library's: a second one would end the process before main.
  std::cout << service::velmo::BaseMessage::descriptor()->full_name() << ", " << bytes.size()
            << " bytes\n"
            << parsed.DebugString();
}
