#include "Handshake.h"

#include <nettle/base64.h>
#include <nettle/sha1.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace velmo::client {

namespace {

constexpr std::size_t kLongestHead = 16384;
constexpr int kSwitchingProtocols = 101;

std::string base64(const std::uint8_t* bytes, std::size_t size) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(size), '\0');
  base64_encode_raw(text.data(), size, bytes);
  return text;
}

char lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A'))
                                              : character;
}

bool isSame(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

std::string_view trimmed(std::string_view text) {
  constexpr const char* kBlanks = " \t\r";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Removes what comes before the separator from `text`, and the separator.
std::string_view cutOff(std::string_view& text, char separator) {
  const std::size_t at = text.find(separator);
  const std::string_view part = text.substr(0, at);
  text.remove_prefix(at == std::string_view::npos ? text.size() : at + 1);
  return part;
}

// Calls `take` with each value of a header.
template <typename Take>
void forEachValue(std::string_view head, std::string_view name, Take take) {
  cutOff(head, '\n');  // the status line
  while (!head.empty()) {
    std::string_view value = cutOff(head, '\n');
    if (isSame(cutOff(value, ':'), name)) {
      take(trimmed(value));
    }
  }
}

// Whether a header has the word among its values, which commas separate.
bool hasToken(std::string_view head, std::string_view name, std::string_view token) {
  bool isFound = false;
  forEachValue(head, name, [&](std::string_view values) {
    while (!values.empty()) {
      isFound = isSame(trimmed(cutOff(values, ',')), token) || isFound;
    }
  });
  return isFound;
}

bool has(std::string_view head, std::string_view name) {
  bool isFound = false;
  forEachValue(head, name, [&isFound](std::string_view /*value*/) { isFound = true; });
  return isFound;
}

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// The status of "HTTP/1.1 101 Switching Protocols"; nothing if the line is another.
std::optional<int> statusOf(std::string_view line) {
  constexpr std::string_view kStart = "HTTP/1.";
  if (line.size() < 12 || line.substr(0, kStart.size()) != kStart || !isDigit(line[7]) ||
      line[8] != ' ' || (line.size() > 12 && line[12] != ' ')) {
    return std::nullopt;
  }
  const std::string_view digits = line.substr(9, 3);
  if (!std::all_of(digits.begin(), digits.end(), isDigit)) {
    return std::nullopt;
  }
  return (digits[0] - '0') * 100 + (digits[1] - '0') * 10 + (digits[2] - '0');
}

// The size of the head up to and with the empty line; 0 if that has not come. Lines may end without
// a carriage return.
std::size_t headSize(const std::string& text) {
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
    const std::size_t next = at + 1;
    if (text.compare(next, 1, "\n") == 0) {
      return next + 1;
    }
    if (text.compare(next, 2, "\r\n") == 0) {
      return next + 2;
    }
  }
  return 0;
}

}  // namespace

std::string acceptedKey(const std::string& key) {
  const std::string text = key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  sha1_ctx context{};
  sha1_init(&context);
  sha1_update(&context, text.size(), reinterpret_cast<const std::uint8_t*>(text.data()));
  std::array<std::uint8_t, SHA1_DIGEST_SIZE> digest{};
  sha1_digest(&context, digest.size(), digest.data());
  return base64(digest.data(), digest.size());
}

Handshake::Handshake(std::string address, std::string path, const HandshakeNonce& nonce)
    : m_address(std::move(address)),
      m_path(std::move(path)),
      m_key(base64(nonce.data(), nonce.size())) {}

// The same origin from every machine, whatever its name.
std::string Handshake::request() const {
  return "GET " + m_path + " HTTP/1.1\r\nHost: " + m_address +
         "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nOrigin: localhost\r\n"
         "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: " +
         m_key + "\r\n\r\n";
}

Outcome Handshake::take(std::string_view bytes) {
  m_answer += bytes;
  m_headSize = headSize(m_answer);
  if (std::max(m_headSize, m_headSize == 0 ? m_answer.size() : 0) > kLongestHead) {
    return Fault{Problem::HandshakeWrong, m_address, "the head of its answer is too long"};
  }
  return std::nullopt;
}

bool Handshake::isComplete() const {
  return m_headSize > 0;
}

Outcome Handshake::check() const {
  const std::string_view head = std::string_view(m_answer).substr(0, m_headSize);
  std::string_view unread = head;
  const std::string_view line = trimmed(cutOff(unread, '\n'));
  const auto wrong = [this](const char* what) {
    return Fault{Problem::HandshakeWrong, m_address, what};
  };
  const std::optional<int> status = statusOf(line);
  if (!status) {
    return wrong("its answer is not HTTP/1.1");
  }
  if (*status != kSwitchingProtocols) {
    return Fault{Problem::HandshakeRefused, m_address, std::string(line), 0, *status};
  }
  if (!hasToken(head, "Upgrade", "websocket") || !hasToken(head, "Connection", "upgrade")) {
    return wrong("its answer upgrades to another protocol");
  }
  if (!hasToken(head, "Sec-WebSocket-Accept", acceptedKey(m_key))) {
    return wrong("its answer does not fit the key");
  }
  if (has(head, "Sec-WebSocket-Extensions") || has(head, "Sec-WebSocket-Protocol")) {
    return wrong("its answer chooses what was not offered");
  }
  return std::nullopt;
}

std::string_view Handshake::rest() const {
  return std::string_view(m_answer).substr(m_headSize);
}

}  // namespace velmo::client
