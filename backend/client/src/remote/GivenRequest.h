#ifndef VELMO_GIVENREQUEST_H
#define VELMO_GIVENREQUEST_H

#include "Fault.h"
#include "RequestMessage.h"

namespace velmo::client {

/// The request for a task as the caller described it. Refuses what a message cannot carry: the
/// mistakes that takeTask() refuses, a type other than "sh" and "java", texts that are not UTF-8.
/// @param task  null is refused. The fields point into its texts
Result<RequestFields> takeRequest(const velmo_task* task);

}  // namespace velmo::client

#endif
