// Submits tasks by message in a loop to a peer in a child process. A test counts its system calls.
// usage: message_calls COUNT [unblocked]    unblocked: in a thread that does not block SIGPIPE

#include <sys/wait.h>
#include <unistd.h>
#include <velmo/VelmoFacadeWS.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "ScriptedPeer.h"
#include "SigPipe.h"

namespace {

using velmo::test::answering;
using velmo::test::blockSigPipe;
using velmo::test::naming;
using velmo::test::PeerListener;

bool submit(unsigned short port, std::size_t count) {
  VelmoFacadeWS facade("127.0.0.1", port);
  for (std::size_t i = 0; i < count; ++i) {
    if (facade.addTask("Normal", "true", TASK_SHELL_SCRIPT, "", "J1", "0", "", 0) != "T1") {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    return 2;
  }
  const auto count = static_cast<std::size_t>(std::atoi(argv[1]));
  blockSigPipe(argc == 2);
  const PeerListener listener;
  const pid_t peer = fork();
  if (peer == 0) {
    listener.serve(answering(std::vector<std::string>(count, naming("T1"))));
    _exit(0);
  }
  const bool isSubmitted = submit(listener.port(), count);
  waitpid(peer, nullptr, 0);
  return isSubmitted ? 0 : 1;
}
