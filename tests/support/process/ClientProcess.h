#ifndef VELMO_TEST_CLIENTPROCESS_H
#define VELMO_TEST_CLIENTPROCESS_H

#include <functional>
#include <string>
#include <vector>

#include "ScriptedPeer.h"

namespace velmo::test {

/// How a client that ran as a child process has ended.
struct ClientOutcome {
  std::string report;  ///< what the client told, its steps one after the other
  std::string end;     ///< "exit N", "signal N", or "hang"
  std::string errors;  ///< what it wrote to standard error
  std::string peer;    ///< why the peer's script could not be followed; empty when it could
};

/// Tells a step to the parent process; a step told is not lost when the process ends.
using Tell = std::function<void(const std::string& step)>;

using Client = std::function<void(unsigned short port, const Tell& tell)>;

/// Runs `client` in a child process, against peers that follow the scripts on one connection after
/// the other. This process is the peer. A child that has not ended 20 seconds after the scripts is
/// killed and counts as a hang.
ClientOutcome runAgainst(const std::vector<PeerScript>& scripts, const Client& client);

}  // namespace velmo::test

#endif
