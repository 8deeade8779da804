#ifndef VELMO_STANDIN_CLOSEFRAME_H
#define VELMO_STANDIN_CLOSEFRAME_H

#include <string>
#include <string_view>

#include "Refusal.h"

namespace velmo::standin {

/// Whether a close frame may have this code.
bool isCloseCode(int code);

/// The payload of a close frame: the code and the reason. If the reason does not fit into a control
/// frame, it is cut after the last whole character that fits.
std::string closePayload(CloseCode code, std::string_view reason);

/// The payload that answers a client's close frame: the same code and reason, or the code 1000 if
/// the client gave none.
/// @throws Refusal  with the code 1002, if the client's payload is malformed: one byte, a code that
///                  must not be sent, or a reason that is not UTF-8
std::string closeAnswer(const std::string& payload);

}  // namespace velmo::standin

#endif
