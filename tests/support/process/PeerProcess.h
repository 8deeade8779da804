#ifndef VELMO_TEST_PEERPROCESS_H
#define VELMO_TEST_PEERPROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "ScriptedPeer.h"

namespace velmo::test {

/// Tells the test something, from within a script.
void tellTest(const std::string& text);

/// A peer in a child process that follows one script on each connection, so that the client can run
/// in the test itself. It does not outlive the object, nor the test program.
class PeerProcess {
 public:
  explicit PeerProcess(const std::vector<PeerScript>& scripts);
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  /// Kills the process if it has not ended.
  ~PeerProcess();

  unsigned short port() const;

  /// Readable once a script has told something, or all have ended.
  int told() const;

  /// Waits until the scripts have ended.
  /// @return what they told; "FAILED: " and the reason behind it if one could not go on
  std::string end();

 private:
  PeerListener m_listener;
  int m_told = -1;
  pid_t m_process = -1;
};

}  // namespace velmo::test

#endif
