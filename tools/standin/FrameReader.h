#ifndef VELMO_STANDIN_FRAMEREADER_H
#define VELMO_STANDIN_FRAMEREADER_H

#include <optional>
#include <string>
#include <string_view>

namespace standin {

/// A frame as a client sent it, its mask removed.
struct Frame {
  int flags = 0;  ///< first byte: the final bit, the reserved bits, the opcode
  std::string payload;
};

/// Takes the frames of a client out of the bytes of its connection, however these are cut.
///
/// Poco's receiveFrame() does not fit: it reports neither a missing mask nor whether a frame
/// without flags and payload, which is legal, or the end of the connection has come.
class FrameReader {
 public:
  /// Adds the bytes that have come next.
  void add(std::string_view bytes);

  /// Takes the next frame out of the bytes.
  /// @return nothing while the frame is not complete
  /// @throws Refusal  when it is not masked, carries more than MessageAssembler::kLimit bytes, or
  ///                  is a control frame that is fragmented, longer than 125 bytes, or has reserved
  ///                  bits set; as soon as the frame's first bytes show it
  std::optional<Frame> next();

  /// Whether no byte is left that next() has not returned.
  bool isEmpty() const;

 private:
  std::string m_bytes;
};

}  // namespace standin

#endif
