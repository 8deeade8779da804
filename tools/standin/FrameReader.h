#ifndef VELMO_STANDIN_FRAMEREADER_H
#define VELMO_STANDIN_FRAMEREADER_H

#include <optional>
#include <string>
#include <string_view>

#include "Frame.h"

namespace velmo::standin {

/// Splits the bytes that a client sends into frames, wherever the bytes are cut.
///
/// Poco's receiveFrame() is not used: it does not report a missing mask, and it returns the same
/// for an empty frame without flags, which is legal, as for the end of the connection.
class FrameReader {
 public:
  /// Adds the bytes that were received next.
  void add(std::string_view bytes);

  /// Removes the next frame from the bytes.
  /// @return nothing until the frame is complete
  /// @throws Refusal  as soon as the first bytes show that the frame is not masked, is longer than
  ///                  kLongestMessage, or is a control frame that is fragmented, longer than 125
  ///                  bytes, or has reserved bits set
  std::optional<Frame> next();

  /// Whether next() has returned all the bytes that were added.
  bool isEmpty() const;

 private:
  std::string m_bytes;
};

}  // namespace velmo::standin

#endif
