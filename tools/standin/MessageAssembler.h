#ifndef VELMO_STANDIN_MESSAGEASSEMBLER_H
#define VELMO_STANDIN_MESSAGEASSEMBLER_H

#include <optional>
#include <string>

#include "Frame.h"

namespace velmo::standin {

/// Assembles binary messages from their frames: one frame with the opcode kBinary, then any number
/// with kContinuation. The last frame has the final bit.
class MessageAssembler {
 public:
  /// Adds a frame that is not a control frame.
  /// @return the message, if this frame ends it
  /// @throws Refusal  if the frame may not come here, or the message is longer than kLongestMessage
  std::optional<std::string> add(const Frame& frame);

  /// Whether the first frame of a message was added and the last was not.
  bool isBegun() const;

 private:
  bool m_begun = false;
  std::string m_message;
};

}  // namespace velmo::standin

#endif
