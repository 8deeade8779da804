// Submits tasks by message in a loop, to a peer in a child process, for tests that look at the
// process from outside.
// usage: message_calls COUNT [unblocked]    unblocked: in a thread that does not block SIGPIPE

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>
#include <velmo/VelmoFacadeWS.h>

#include <csignal>
#include <cstdlib>

#include "ScriptedPeer.h"
#include "WireMessages.h"

namespace {

using velmo::test::frame;
using velmo::test::PeerConnection;
using velmo::test::PeerListener;
using velmo::test::responseNaming;

void answer(PeerConnection& peer, int count) {
  peer.upgrade();
  for (int i = 0; i < count; ++i) {
    peer.readMessage();
    peer.send(frame(130, responseNaming("T1")));
  }
  peer.readMessage();
}

bool submit(unsigned short port, int count) {
  VelmoFacadeWS facade("127.0.0.1", port);
  for (int i = 0; i < count; ++i) {
    if (facade.addTask("Normal", "true", TASK_SHELL_SCRIPT, "", "J1", "0", "", 0) != "T1") {
      return false;
    }
  }
  return true;
}

void setBlocked(bool blocked) {
  sigset_t set{};
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    return 2;
  }
  const int count = std::atoi(argv[1]);
  setBlocked(argc == 2);
  const PeerListener listener;
  const pid_t peer = fork();
  if (peer == 0) {
    listener.serve([count](PeerConnection& connection) { answer(connection, count); });
    _exit(0);
  }
  const bool isSubmitted = submit(listener.port(), count);
  waitpid(peer, nullptr, 0);
  return isSubmitted ? 0 : 1;
}
