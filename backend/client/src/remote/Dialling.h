#ifndef VELMO_DIALLING_H
#define VELMO_DIALLING_H

#include <memory>

#include "Fault.h"
#include "GivenEndpoint.h"
#include "ServiceConnection.h"
#include "Wait.h"

namespace velmo::client {

/// Opens a connection: looks the host up, connects, and shakes hands.
/// @param timeoutMs  the same that `wait` was made of
Result<std::unique_ptr<velmo_connection>> dial(const GivenEndpoint& endpoint, int timeoutMs,
                                               const Wait& wait);

}  // namespace velmo::client

#endif
