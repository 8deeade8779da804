#ifndef VELMO_FRAMEWRITER_H
#define VELMO_FRAMEWRITER_H

#include <wslay/wslay.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Fault.h"
#include "FrameMasks.h"

namespace velmo::client {

/// The largest payload of a frame of a request.
constexpr std::size_t kFramePayload = 8192;

/// Writes the masked frames of a client. No I/O.
class FrameWriter {
 public:
  FrameWriter();
  FrameWriter(const FrameWriter&) = delete;
  FrameWriter& operator=(const FrameWriter&) = delete;

  /// Appends a binary message to `wire`: frames of at most kFramePayload bytes.
  Outcome appendMessage(std::string& wire, std::string_view message);

  /// Appends a pong that answers a ping with this payload.
  Outcome appendPong(std::string& wire, std::string_view payload);

  /// Appends a close frame.
  /// @param code  0: none
  Outcome appendClose(std::string& wire, std::uint16_t code);

 private:
  struct ContextDeleter {
    void operator()(wslay_frame_context* context) const {
      wslay_frame_context_free(context);
    }
  };

  static ssize_t append(const std::uint8_t* data, std::size_t size, int flags, void* writer);
  static int nextMask(std::uint8_t* buffer, std::size_t size, void* writer);
  Outcome appendFrames(std::string& wire, std::uint8_t opcode, std::string_view payload);
  void encode(std::uint8_t opcode, bool isFinal, std::string_view payload);

  std::unique_ptr<wslay_frame_context, ContextDeleter> m_context;
  FrameMasks m_masks;
  std::string* m_wire = nullptr;  // of the frames being written
};

}  // namespace velmo::client

#endif
