#ifndef VELMO_TEST_ACCEPTKEY_H
#define VELMO_TEST_ACCEPTKEY_H

#include <string>

namespace velmo::test {

/// What a WebSocket server answers to the "Sec-WebSocket-Key" of a handshake: the SHA-1 digest of
/// the key and a fixed text, in base64. Made without any library, so that nothing of it is the
/// client's own.
std::string acceptKey(const std::string& key);

}  // namespace velmo::test

#endif
