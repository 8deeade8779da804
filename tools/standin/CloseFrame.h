#ifndef VELMO_STANDIN_CLOSEFRAME_H
#define VELMO_STANDIN_CLOSEFRAME_H

#include <string>
#include <string_view>

#include "TaskRequest.h"

namespace standin {

/// The payload of a close frame: the code, and as much of the reason as a control frame can carry,
/// cut at a character.
std::string closePayload(CloseCode code, std::string_view reason);

/// The payload that answers a client's close frame: the same code and reason, or the code 1000 when
/// the client gave none.
/// @throws Refusal  with the code 1002, when the client's payload is malformed: one byte, a code
///                  that must not be sent, or a reason that is not UTF-8
std::string closeAnswer(const std::string& payload);

}  // namespace standin

#endif
