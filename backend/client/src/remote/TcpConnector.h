#ifndef VELMO_TCPCONNECTOR_H
#define VELMO_TCPCONNECTOR_H

#include <string>
#include <vector>

#include "HostAddresses.h"
#include "Socket.h"
#include "Wait.h"

namespace velmo::client {

/// How long an attempt has the network for itself before the next address is tried as well.
/// @param timeoutMs  of the whole, VELMO_NO_LIMIT included
int headStartMs(int timeoutMs, std::size_t addresses);

/// Connects to the first address that answers. The addresses are tried in their order; the next
/// attempt begins when one fails or when its head start is over, and the earlier ones go on.
/// @param name  of the peer, for the texts of failures
Result<Socket> connectToAny(const std::vector<SocketAddress>& addresses, int headStartMs,
                            const Wait& wait, const std::string& name);

}  // namespace velmo::client

#endif
