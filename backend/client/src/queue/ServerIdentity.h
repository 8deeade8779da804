#ifndef VELMO_SERVERIDENTITY_H
#define VELMO_SERVERIDENTITY_H

#include <optional>
#include <string>

#include "Fault.h"
#include "Settings.h"

namespace velmo::client {

/// The identity of the server, which begins the identifiers of its jobs: SELF_SERVER_ID in
/// CONF/serverid.cfg. It never changes.
class ServerIdentity {
 public:
  /// None: identifiers have no prefix.
  ServerIdentity() = default;

  /// Reads the file. If CONF, the file or the key is missing, there is no prefix. A failure is
  /// reported by the call that needs a new job.
  explicit ServerIdentity(const Settings& settings);

  /// The identifier of the job with a number: "J17", or "node2-J17".
  Result<std::string> jobIdOf(int number) const;

  /// The longest identifier of any job of the server.
  Result<std::string> longestJobId() const;

  /// The file, and that its identity cannot be part of a name.
  Fault unusable() const;

 private:
  std::string m_path;
  std::optional<std::string> m_identity;
  Outcome m_failure;
};

}  // namespace velmo::client

#endif
