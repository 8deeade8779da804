#include "FrameMasks.h"

#include <cstring>

#include "RandomBytes.h"

namespace velmo::client {

Outcome FrameMasks::prepare() {
  if (m_hasKey) {
    return std::nullopt;
  }
  std::array<std::uint8_t, CHACHA_KEY_SIZE> key{};
  if (Outcome outcome = fillRandom(key.data(), key.size())) {
    return outcome;
  }
  // The key is used once, so every nonce is new.
  constexpr std::array<std::uint8_t, CHACHA_NONCE_SIZE> kNonce{};
  chacha_set_key(&m_cipher, key.data());
  chacha_set_nonce(&m_cipher, kNonce.data());
  m_hasKey = true;
  return std::nullopt;
}

void FrameMasks::next(std::uint8_t* mask) noexcept {
  if (m_used == m_block.size()) {
    m_block = {};
    chacha_crypt(&m_cipher, m_block.size(), m_block.data(), m_block.data());
    m_used = 0;
  }
  std::memcpy(mask, m_block.data() + m_used, kSize);
  m_used += kSize;
}

}  // namespace velmo::client
