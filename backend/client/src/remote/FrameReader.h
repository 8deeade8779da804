#ifndef VELMO_FRAMEREADER_H
#define VELMO_FRAMEREADER_H

#include <wslay/wslay.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace velmo::client {

/// The most bytes that a message of the peer may have.
constexpr std::size_t kLargestReply = std::size_t{1024} * 1024;

/// Reads frames and messages from the bytes that a server sends. No I/O.
class FrameReader {
 public:
  /// What has come to its end.
  enum class Event {
    None,      ///< nothing: more bytes are needed
    Message,   ///< a message, binary or text, perhaps of several frames
    Ping,      ///< a ping
    Pong,      ///< a pong
    Close,     ///< a close frame
    TooLarge,  ///< a message of more than kLargestReply bytes
    Wrong      ///< a frame that the protocol forbids
  };

  FrameReader();
  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;

  /// Adds bytes that have arrived.
  void feed(std::string_view bytes);

  /// The next event. After TooLarge and Wrong there is no further one.
  Event next();

  /// Of the last event: the message, the payload of the control frame without the close code, or
  /// what is wrong.
  std::string_view content() const;

  /// The code of the last close frame; 0 if it had none.
  int closeCode() const;

  /// Whether a message has begun and not come to its end. Asked after None.
  bool isInsideMessage() const;

 private:
  struct ContextDeleter {
    void operator()(wslay_frame_context* context) const {
      wslay_frame_context_free(context);
    }
  };

  static ssize_t supply(std::uint8_t* buffer, std::size_t size, int flags, void* reader);
  std::size_t mostSupplied(std::size_t size) const;
  Event wrong(std::string_view what);
  Event take(const wslay_frame_iocb& part);
  Event takeHeader(const wslay_frame_iocb& part);
  Event endFrame(const wslay_frame_iocb& part);
  Event endControl(std::uint8_t opcode);

  std::unique_ptr<wslay_frame_context, ContextDeleter> m_context;
  std::string m_input;
  std::size_t m_consumed = 0;  // of m_input

  // Of the current frame.
  bool m_hasBegun = false;
  bool m_isHeaderTaken = false;
  std::uint8_t m_firstByte = 0;
  std::size_t m_payloadLeft = 0;

  bool m_isFragmented = false;   // a message has begun, and its last frame has not ended
  bool m_isMessageRead = false;  // m_message was the last event
  std::string m_message;
  std::string m_control;
  std::string_view m_content;
  int m_closeCode = 0;
};

}  // namespace velmo::client

#endif
