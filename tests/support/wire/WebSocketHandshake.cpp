#include "WebSocketHandshake.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <stdexcept>

namespace velmo::test {

namespace {

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string sha1(const std::string& text) {
  std::string digest(SHA_DIGEST_LENGTH, '\0');
  SHA1(bytesOf(text), text.size(), reinterpret_cast<unsigned char*>(digest.data()));
  return digest;
}

std::string base64(const std::string& bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // one for the NUL
  text.resize(
      static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                               bytesOf(bytes), static_cast<int>(bytes.size()))));
  return text;
}

std::string headerOf(const std::string& request, const std::string& name) {
  const std::string start = "\r\n" + name + ": ";
  const std::size_t at = request.find(start);
  if (at == std::string::npos) {
    throw std::runtime_error("no " + name + " in the handshake");
  }
  const std::size_t value = at + start.size();
  return request.substr(value, request.find("\r\n", value) - value);
}

}  // namespace

std::string handshakeRequest(const std::string& path, const std::string& headers) {
  return "GET " + path +
         " HTTP/1.1\r\n"
         "Host: 127.0.0.1\r\n"
         "Connection: Upgrade\r\n"
         "Upgrade: websocket\r\n"
         "Sec-WebSocket-Version: 13\r\n"
         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n" +
         headers + "\r\n";
}

std::string upgradeFor(const std::string& request) {
  return "HTTP/1.1 101 Switching Protocols\r\n"
         "Upgrade: websocket\r\n"
         "Connection: Upgrade\r\n"
         "Sec-WebSocket-Accept: " +
         base64(sha1(headerOf(request, "Sec-WebSocket-Key") +
                     "258EAFA5-E914-47DA-95CA-C5AB0DC85B11")) +
         "\r\n\r\n";
}

}  // namespace velmo::test
