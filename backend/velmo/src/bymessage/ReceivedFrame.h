#ifndef VELMO_RECEIVEDFRAME_H
#define VELMO_RECEIVEDFRAME_H

namespace Poco::Net {
class WebSocket;
}

namespace brix::velmo {

/// What receiveFrame() says of a frame, whose payload is in the caller's buffer.
struct ReceivedFrame {
  int size;   ///< bytes of payload; 0 also at the end of the connection
  int flags;  ///< first byte on the wire; 0 at the end of the connection
};

/// Receives the next frame of a blocking connection. The rules are this library's own: those of the
/// networking library differ between its versions.
///
/// Every frame is data, control frames included, and fragments are not joined. A masked payload is
/// unmasked. The connection may end where a part of the header begins: its first two bytes, the
/// long form of the length, the mask. Nothing is received ahead: each of these parts, and the
/// payload, is one receive on the socket if it is there.
///
/// After an exception the connection is unusable. The payload of a frame that was refused is still
/// to be received, and would be taken for frames.
/// @param buffer    for the payload
/// @param capacity  most bytes of payload
/// @throws Poco::Net::WebSocketException  "Incomplete frame received": the connection ends
///                                        elsewhere. "Payload too big": the length is above
///                                        2147483647. "Insufficient buffer for payload size %d":
///                                        it is above `capacity`.
/// @throws Poco::Exception  any exception of the socket, unchanged
ReceivedFrame receiveFrame(Poco::Net::WebSocket& connection, char* buffer, int capacity);

}  // namespace brix::velmo

#endif
