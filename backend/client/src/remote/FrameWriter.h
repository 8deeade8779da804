#ifndef VELMO_FRAMEWRITER_H
#define VELMO_FRAMEWRITER_H

#include <cstdint>
#include <string>
#include <string_view>

#include "Fault.h"

namespace velmo::client {

/// The largest payload of a frame of a request.
constexpr std::size_t kFramePayload = 8192;

/// Appends a binary message to `wire`: masked frames of at most kFramePayload bytes.
Outcome appendMessage(std::string& wire, std::string_view message);

/// Appends a masked pong that answers a ping with this payload.
Outcome appendPong(std::string& wire, std::string_view payload);

/// Appends a masked close frame.
/// @param code  0: none
Outcome appendClose(std::string& wire, std::uint16_t code);

}  // namespace velmo::client

#endif
