#ifndef VELMO_HANDSHAKE_H
#define VELMO_HANDSHAKE_H

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "Fault.h"

namespace velmo::client {

/// The random bytes of which the key of a handshake is made.
using HandshakeNonce = std::array<unsigned char, 16>;

/// A client's handshake: the text of the request, and the check of the answer. No I/O.
class Handshake {
 public:
  /// @param address  "host:port"
  /// @param path     with the "/" at its start
  Handshake(std::string address, std::string path, const HandshakeNonce& nonce);

  /// The request, whole.
  std::string request() const;

  /// Takes what has arrived.
  /// @return a failure if the head of the answer is too long
  Outcome take(std::string_view bytes);

  /// Whether the head of the answer has arrived.
  bool isComplete() const;

  /// Whether the peer has upgraded the connection, if isComplete().
  Outcome check() const;

  /// What has arrived behind the head, if isComplete().
  std::string_view rest() const;

 private:
  std::string m_address;
  std::string m_path;
  std::string m_key;
  std::string m_answer;
  std::size_t m_headSize = 0;  // 0: the head is not complete
};

/// What a server makes of a client's key.
std::string acceptedKey(const std::string& key);

}  // namespace velmo::client

#endif
