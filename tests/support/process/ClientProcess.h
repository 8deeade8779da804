#ifndef VELMO_TEST_CLIENTPROCESS_H
#define VELMO_TEST_CLIENTPROCESS_H

#include <functional>
#include <string>
#include <vector>

#include "ScriptedPeer.h"

namespace velmo::test {

/// How a client in a child process ended.
struct ClientOutcome {
  std::string report;  ///< the steps that the client reported
  std::string end;     ///< "exit N", "signal N", or "hang"
  std::string errors;  ///< what it wrote to standard error
  std::string peer;    ///< why the peer could not follow its script; empty if it could
};

/// Reports a step to the parent process at once, so the end of the process does not lose it.
using Tell = std::function<void(const std::string& step)>;

using Client = std::function<void(unsigned short port, const Tell& tell)>;

/// Runs `client` in a child process. This process is the peer: it follows one script on each
/// connection. A child that runs for more than 20 seconds after the scripts is killed and counts as
/// a hang.
ClientOutcome runAgainst(const std::vector<PeerScript>& scripts, const Client& client);

}  // namespace velmo::test

#endif
