#ifndef VELMO_FRAMEMASKS_H
#define VELMO_FRAMEMASKS_H

#include <nettle/chacha.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "Fault.h"

namespace velmo::client {

/// Masks for the frames that a client sends. Nobody who sees some of them can tell the next one.
///
/// They are the output of the stream cipher ChaCha20, with a random key from the kernel for
/// each object. So only the first prepare() takes a system call.
class FrameMasks {
 public:
  static constexpr std::size_t kSize = 4;

  /// Takes the key, if this is the first call.
  Outcome prepare();

  /// Writes the next mask, of kSize bytes. prepare() has succeeded.
  void next(std::uint8_t* mask) noexcept;

 private:
  chacha_ctx m_cipher{};
  std::array<std::uint8_t, CHACHA_BLOCK_SIZE> m_block{};
  std::size_t m_used = CHACHA_BLOCK_SIZE;  // of m_block
  bool m_hasKey = false;
};

}  // namespace velmo::client

#endif
