#ifndef VELMO_REQUESTFRAMES_H
#define VELMO_REQUESTFRAMES_H

#include <cstddef>
#include <limits>

namespace brix::velmo {

/// Most bytes of payload that the networking library can send in one frame: it counts the payload
/// and the longest header, of 14 bytes, in an int.
constexpr std::size_t kLargestFrame = std::numeric_limits<int>::max() - 14;

/// One of the WebSocket frames of a binary message, without its payload.
struct RequestFrame {
  std::size_t size;  ///< bytes of payload
  int flags;         ///< first byte on the wire: 130, 2, 0 or 128
};

/// The frame that begins at `offset` in a message of `length` bytes, if no frame carries more than
/// `frameSize` bytes, nor more than kLargestFrame.
///
///     130  the whole message
///       2  the first of several
///       0  one in between
///     128  the last of several
///
/// Sends nothing and never fails. If `frameSize` is 0, every frame is empty and none is the last.
/// @param length  above 0
/// @param offset  below `length`
RequestFrame requestFrameAt(std::size_t length, std::size_t offset, std::size_t frameSize);

}  // namespace brix::velmo

#endif
