#include "ErrorLine.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace velmo::client {

namespace {

constexpr std::string_view kCutMark = "...";
constexpr std::size_t kEscapeLength = 4;

bool isPlain(char character) {
  return character >= ' ' && character <= '~' && character != '\\';
}

std::size_t lengthOf(char character) {
  return isPlain(character) ? 1 : kEscapeLength;
}

std::size_t escapedLength(std::string_view text) {
  std::size_t length = 0;
  for (const char character : text) {
    length += lengthOf(character);
  }
  return length;
}

// The number of bytes from the start, or from the end, whose escaped form fits into `room`.
template <typename Iterator>
std::size_t fitting(Iterator from, Iterator to, std::size_t room) {
  std::size_t count = 0;
  for (; from != to && lengthOf(*from) <= room; ++from, ++count) {
    room -= lengthOf(*from);
  }
  return count;
}

class Writer {
 public:
  explicit Writer(ErrorMessage& message) : m_next(message), m_end(message + sizeof message - 1) {}

  ~Writer() {
    *m_next = '\0';
  }

  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void plain(std::string_view text) {
    const std::size_t size = std::min(text.size(), static_cast<std::size_t>(m_end - m_next));
    std::memcpy(m_next, text.data(), size);
    m_next += size;
  }

  void escaped(std::string_view text) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    for (const char character : text) {
      if (isPlain(character)) {
        plain({&character, 1});
        continue;
      }
      const auto byte = static_cast<unsigned char>(character);
      const std::array<char, kEscapeLength> escape{'\\', 'x', kDigits[byte >> 4U],
                                                   kDigits[byte & 15U]};
      plain({escape.data(), escape.size()});
    }
  }

  void cut(std::string_view text, std::size_t room) {
    if (escapedLength(text) <= room) {
      escaped(text);
      return;
    }
    const std::size_t kept = room - std::min(room, kCutMark.size());
    const std::size_t head = fitting(text.begin(), text.end(), kept / 2);
    const std::string_view rest = text.substr(head);
    const std::size_t left = kept - escapedLength(text.substr(0, head));
    const std::size_t tail = fitting(rest.rbegin(), rest.rend(), left);
    escaped(text.substr(0, head));
    plain(kCutMark.substr(0, room));
    escaped(rest.substr(rest.size() - tail));
  }

 private:
  char* m_next;
  char* m_end;
};

// The index of the text that the placeholder at the start of `format` stands for; -1 if there is
// none.
int placeholderAt(std::string_view format) {
  const bool isPlaceholder = format.size() >= 3 && format[0] == '{' && format[2] == '}' &&
                             format[1] >= '1' && format[1] <= '3';
  return isPlaceholder ? format[1] - '1' : -1;
}

template <typename Literal, typename Placeholder>
void walk(std::string_view format, Literal literal, Placeholder placeholder) {
  while (!format.empty()) {
    const int index = placeholderAt(format);
    if (index >= 0) {
      placeholder(static_cast<std::size_t>(index));
      format.remove_prefix(3);
    } else {
      literal(format.substr(0, 1));
      format.remove_prefix(1);
    }
  }
}

// How long a text is in the line, and how often it appears.
struct TextLength {
  std::size_t length = 0;
  std::size_t uses = 0;
};

using TextLengths = std::array<TextLength, 3>;

// The largest length to which all texts can be cut so that together they need at most `room`.
std::size_t lengthToCutTo(TextLengths texts, std::size_t room) {
  const auto isShorter = [](const TextLength& left, const TextLength& right) {
    return left.length < right.length;
  };
  std::sort(texts.begin(), texts.end(), isShorter);
  std::size_t uses = texts[0].uses + texts[1].uses + texts[2].uses;
  std::size_t left = room;
  for (const TextLength& text : texts) {
    if (text.length * uses > left) {
      return left / uses;
    }
    left -= text.length * text.uses;
    uses -= text.uses;
  }
  return room;
}

// The text of a system error, in glibc 2.32 and later.
template <typename Number>
auto systemText(Number error, int /*preferred*/) -> decltype(strerrordesc_np(error)) {
  return strerrordesc_np(error);
}

// The same elsewhere. In musl, strerror() returns fixed texts and may be called in several threads.
template <typename Number>
const char* systemText(Number error, long /*otherwise*/) {
  return std::strerror(error);
}

// The system's reason in English, whatever the locale is. Deliberate: not strerror_l(), which looks
// for translations under a lock, and allocates for an unknown number.
class Reason {
 public:
  explicit Reason(int systemError) {
    if (systemError == 0) {
      return;
    }
    m_known = systemText(systemError, 0);
    if (m_known == nullptr) {
      std::snprintf(m_unknown.data(), m_unknown.size(), "Unknown error %d", systemError);
    }
  }

  std::string_view text() const {
    return m_known != nullptr ? m_known : m_unknown.data();
  }

 private:
  const char* m_known = nullptr;
  std::array<char, 32> m_unknown{};
};

}  // namespace

void writeErrorLine(ErrorMessage& message, const ErrorFormats& formats, const ErrorTexts& texts,
                    int systemError) {
  const Reason reason(systemError);
  const std::array<std::string_view, 6> parts{formats.prefix,
                                              formats.format,
                                              systemError != 0 ? ": " : "",
                                              reason.text(),
                                              formats.remedy.empty() ? "" : "; ",
                                              formats.remedy};
  std::size_t fixed = 0;
  TextLengths lengths{};
  const auto countLiteral = [&fixed](std::string_view text) { fixed += text.size(); };
  const auto countText = [&](std::size_t index) {
    lengths[index].length = escapedLength(texts[index]);
    ++lengths[index].uses;
  };
  for (const std::string_view part : parts) {
    walk(part, countLiteral, countText);
  }
  const std::size_t most = sizeof message - 1;
  const std::size_t limit = lengthToCutTo(lengths, most - std::min(most, fixed));

  Writer line(message);
  const auto writeLiteral = [&line](std::string_view text) { line.plain(text); };
  const auto writeText = [&](std::size_t index) { line.cut(texts[index], limit); };
  for (const std::string_view part : parts) {
    walk(part, writeLiteral, writeText);
  }
}

}  // namespace velmo::client
