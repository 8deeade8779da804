// Puts a message of the library into its own message.

#include <iostream>
#include <string>

#include "notice.pb.h"

int main() {
  caller::Notice notice;
  notice.set_text("queued");
  notice.mutable_response()->set_taskname("T1");
  caller::Notice copy;
  if (!copy.ParseFromString(notice.SerializeAsString())) {
    return 1;
  }
  std::cout
      << copy.text() << ": " << copy.response().taskname() << '\n'
      << caller::Notice::descriptor()->FindFieldByName("response")->message_type()->full_name()
      << '\n';
  return 0;
}
