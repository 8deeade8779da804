#ifndef VELMO_STANDIN_SOCKETCALLS_H
#define VELMO_STANDIN_SOCKETCALLS_H

#include <chrono>
#include <optional>
#include <string_view>

namespace velmo::standin {

/// How long a client may neither send nor take a byte within a message.
constexpr std::chrono::seconds kStall{10};

/// Waits until a descriptor can be read or has ended.
/// @param stopDescriptor  ends the wait when it can be read; negative: none
/// @param limit  of the wait; nothing: none
/// @return whether the first descriptor ended the wait
/// @throws std::system_error
bool waitForBytes(int descriptor, int stopDescriptor,
                  std::optional<std::chrono::milliseconds> limit);

/// Sends all bytes.
/// @throws std::system_error  if the client is gone, or takes no byte for kStall
void sendBytes(int descriptor, std::string_view bytes);

/// Reads and discards what a client sends, until it ends the connection or a wait ends.
/// @param stopDescriptor, limit  as of waitForBytes(); the limit is for the whole call
void discardBytes(int descriptor, int stopDescriptor,
                  std::optional<std::chrono::milliseconds> limit);

}  // namespace velmo::standin

#endif
