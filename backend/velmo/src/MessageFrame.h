#ifndef VELMO_MESSAGEFRAME_H
#define VELMO_MESSAGEFRAME_H

#include <cstddef>

namespace brix::velmo {

/// One WebSocket frame of a binary message that is sent in several, without its payload.
struct MessageFrame {
  std::size_t size;  ///< bytes of payload
  int flags;         ///< first byte on the wire: 130, 2, 0 or 128
};

/// The frame that begins at `offset` in a message of `length` bytes, when none carries more than
/// `frameSize`.
///
///     130  the whole message
///       2  the first of several
///       0  one in between
///     128  the last of several
///
/// Sends nothing and never fails. With a `frameSize` of 0 every frame is empty and none the last.
/// @param length  above 0
/// @param offset  below `length`
MessageFrame frameAt(std::size_t length, std::size_t offset, std::size_t frameSize);

}  // namespace brix::velmo

#endif
