#ifndef VELMO_STANDIN_MESSAGEASSEMBLER_H
#define VELMO_STANDIN_MESSAGEASSEMBLER_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace standin {

/// Puts binary messages together from their frames: one frame with the opcode 2, then any number
/// with the opcode 0, the last of them with the final bit.
class MessageAssembler {
 public:
  /// The most bytes that one message may have; no request comes near it.
  static constexpr std::size_t kLimit = 1048576;

  /// Adds a frame that is no control frame.
  /// @param flags  first byte of the frame: the final bit and the opcode
  /// @return the message, when this frame ends it
  /// @throws Refusal  when the frame does not belong here, or the message grows beyond the limit
  std::optional<std::string> add(int flags, std::string_view payload);

  /// Whether the first frame of a message has come and the last has not.
  bool isBegun() const;

 private:
  bool m_begun = false;
  std::string m_message;
};

}  // namespace standin

#endif
