#include "AcceptKey.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace velmo::test {

namespace {

using Digest = std::array<std::uint32_t, 5>;

constexpr std::size_t kBlockSize = 64;

std::uint32_t rotate(std::uint32_t word, unsigned bits) {
  return word << bits | word >> (32U - bits);
}

std::uint32_t byteAt(const std::string& text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

// The text, a 1 bit, zeros, and its length in bits in the last eight bytes of a block.
std::string padded(const std::string& text) {
  std::string result = text + '\x80';
  while (result.size() % kBlockSize != kBlockSize - 8) {
    result += '\0';
  }
  const std::uint64_t bits = text.size() * 8;
  for (int shift = 56; shift >= 0; shift -= 8) {
    result += static_cast<char>(bits >> static_cast<unsigned>(shift) & 0xFFU);
  }
  return result;
}

std::array<std::uint32_t, 80> schedule(const std::string& text, std::size_t block) {
  std::array<std::uint32_t, 80> words{};
  for (std::size_t i = 0; i < 16; ++i) {
    const std::size_t at = block + 4 * i;
    words[i] = byteAt(text, at) << 24U | byteAt(text, at + 1) << 16U | byteAt(text, at + 2) << 8U |
               byteAt(text, at + 3);
  }
  for (std::size_t i = 16; i < words.size(); ++i) {
    words[i] = rotate(words[i - 3] ^ words[i - 8] ^ words[i - 14] ^ words[i - 16], 1);
  }
  return words;
}

std::uint32_t mixed(std::size_t round, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  if (round < 20) {
    return ((b & c) | (~b & d)) + 0x5A827999U;
  }
  if (round < 40) {
    return (b ^ c ^ d) + 0x6ED9EBA1U;
  }
  if (round < 60) {
    return ((b & c) | (b & d) | (c & d)) + 0x8F1BBCDCU;
  }
  return (b ^ c ^ d) + 0xCA62C1D6U;
}

void addBlock(Digest& digest, const std::array<std::uint32_t, 80>& words) {
  auto [a, b, c, d, e] = digest;
  for (std::size_t round = 0; round < words.size(); ++round) {
    const std::uint32_t next = rotate(a, 5) + mixed(round, b, c, d) + e + words[round];
    e = d;
    d = c;
    c = rotate(b, 30);
    b = a;
    a = next;
  }
  const Digest sum{a, b, c, d, e};
  for (std::size_t i = 0; i < digest.size(); ++i) {
    digest[i] += sum[i];
  }
}

std::string sha1(const std::string& text) {
  const std::string bytes = padded(text);
  Digest digest{0x67452301U, 0xEFCDAB89U, 0x98BADCFEU, 0x10325476U, 0xC3D2E1F0U};
  for (std::size_t block = 0; block < bytes.size(); block += kBlockSize) {
    addBlock(digest, schedule(bytes, block));
  }
  std::string result;
  for (const std::uint32_t word : digest) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      result += static_cast<char>(word >> static_cast<unsigned>(shift) & 0xFFU);
    }
  }
  return result;
}

std::string base64(const std::string& bytes) {
  static const std::string digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      group = group << 8U | (i + j < bytes.size() ? byteAt(bytes, i + j) : 0U);
    }
    for (std::size_t j = 0; j < 4; ++j) {
      const bool isPadding = i + j > bytes.size();
      result += isPadding ? '=' : digits[group >> (18U - 6U * static_cast<unsigned>(j)) & 0x3FU];
    }
  }
  return result;
}

}  // namespace

std::string acceptKey(const std::string& key) {
  return base64(sha1(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11"));
}

}  // namespace velmo::test
