#ifndef VELMO_TEST_WEBSOCKETHANDSHAKE_H
#define VELMO_TEST_WEBSOCKETHANDSHAKE_H

#include <string>

namespace velmo::test {

/// A client's request for a WebSocket at a path, with further header lines.
std::string handshakeRequest(const std::string& path, const std::string& headers);

/// The answer of a server that accepts this request.
/// @throws std::runtime_error  if the request has no Sec-WebSocket-Key
std::string upgradeFor(const std::string& request);

}  // namespace velmo::test

#endif
