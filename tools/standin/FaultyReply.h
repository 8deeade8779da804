#ifndef VELMO_STANDIN_FAULTYREPLY_H
#define VELMO_STANDIN_FAULTYREPLY_H

#include <string>

#include "Fault.h"

namespace velmo::standin {

/// What is known of a request when its reply is due.
struct QueuedRequest {
  std::string message;   ///< as it was received
  std::string taskName;  ///< of its task, which is queued
};

/// Replies to a request as the fault says.
/// @param descriptor  of the client's connection
/// @param stopDescriptor  can be read once velmo-standin ends: then a silent reply ends too
/// @return whether the connection goes on; if not, the caller closes it, and sends nothing
/// @throws std::system_error  if the client is gone
bool replyFaultily(FaultKind kind, const QueuedRequest& request, int descriptor,
                   int stopDescriptor);

}  // namespace velmo::standin

#endif
