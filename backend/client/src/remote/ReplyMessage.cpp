#include "ReplyMessage.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace velmo::client {

namespace {

constexpr unsigned kAddTaskRequest = 1;
constexpr unsigned kAddTaskResponse = 2;
constexpr unsigned kTaskName = 1;

// Levels of messages and groups that Protocol Buffers enters.
constexpr int kMostDepth = 100;

enum WireType : unsigned { kVarint, kFixed64, kWithLength, kGroup, kGroupEnd, kFixed32 };

struct Field {
  unsigned number;
  unsigned wireType;
  std::string_view content;  // if kWithLength
};

// Reads the fields of one message. The limits of varints are those of Protocol Buffers.
class FieldReader {
 public:
  FieldReader(std::string_view bytes, int depth) : m_rest(bytes), m_depth(depth) {}

  bool isAtEnd() const {
    return m_rest.empty();
  }

  // The next field; nothing if the bytes are malformed.
  std::optional<Field> next() {
    std::optional<Field> field = readKey();
    if (!field || !readContent(*field)) {
      return std::nullopt;
    }
    return field;
  }

 private:
  std::optional<std::uint64_t> readVarint(std::size_t most) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < most && i < m_rest.size(); ++i) {
      const auto byte = static_cast<unsigned char>(m_rest[i]);
      number |= static_cast<std::uint64_t>(byte & 0x7FU) << 7U * i;
      if (byte < 0x80) {
        m_rest.remove_prefix(i + 1);
        return number;
      }
    }
    return std::nullopt;
  }

  std::optional<Field> readKey() {
    const std::optional<std::uint64_t> key = readVarint(5);
    if (!key) {
      return std::nullopt;
    }
    const auto number = static_cast<std::uint32_t>(*key);
    if (number >> 3U == 0) {
      return std::nullopt;
    }
    return Field{number >> 3U, number & 7U, {}};
  }

  bool skip(std::size_t size) {
    if (size > m_rest.size()) {
      return false;
    }
    m_rest.remove_prefix(size);
    return true;
  }

  bool readContent(Field& field) {
    switch (field.wireType) {
      case kVarint:
        return readVarint(10).has_value();
      case kFixed64:
        return skip(8);
      case kFixed32:
        return skip(4);
      case kWithLength:
        return readText(field);
      case kGroup:
        return skipGroup(field.number);
      default:
        return false;  // also the end of a group that has not begun
    }
  }

  bool readText(Field& field) {
    const std::optional<std::uint64_t> size = readVarint(5);
    if (!size || *size > m_rest.size()) {
      return false;
    }
    field.content = m_rest.substr(0, *size);
    return skip(*size);
  }

  bool skipGroup(unsigned number) {
    if (m_depth == 0) {
      return false;
    }
    --m_depth;
    while (!isAtEnd()) {
      std::optional<Field> field = readKey();
      if (!field) {
        return false;
      }
      if (field->wireType == kGroupEnd) {
        ++m_depth;
        return field->number == number;
      }
      if (!readContent(*field)) {
        return false;
      }
    }
    return false;
  }

  std::string_view m_rest;
  int m_depth;
};

// Whether the bytes are fields; calls `take` for each of them.
template <typename Take>
bool readFields(std::string_view bytes, int depth, Take take) {
  FieldReader reader(bytes, depth);
  while (!reader.isAtEnd()) {
    const std::optional<Field> field = reader.next();
    if (!field || !take(*field)) {
      return false;
    }
  }
  return true;
}

bool isWellFormed(std::string_view message) {
  return readFields(message, kMostDepth - 1, [](const Field& /*field*/) { return true; });
}

// Keeps the name that is there already if the response has none: a second response is merged into
// the first.
bool readResponse(std::string_view message, ReplyMessage& reply) {
  if (reply.kind == ReplyMessage::Kind::OtherKind) {
    reply.kind = ReplyMessage::Kind::Nameless;
  }
  return readFields(message, kMostDepth - 1, [&reply](const Field& field) {
    if (field.number == kTaskName && field.wireType == kWithLength) {
      reply = {ReplyMessage::Kind::Named, field.content};
    }
    return true;
  });
}

}  // namespace

ReplyMessage parseReply(std::string_view bytes) {
  ReplyMessage reply;
  const bool isWhole = readFields(bytes, kMostDepth, [&reply](const Field& field) {
    if (field.wireType != kWithLength) {
      return true;
    }
    if (field.number == kAddTaskResponse) {
      return readResponse(field.content, reply);
    }
    if (field.number == kAddTaskRequest) {
      reply = {};  // the envelope holds one message only, the last
      return isWellFormed(field.content);
    }
    return true;
  });
  return isWhole ? reply : ReplyMessage{ReplyMessage::Kind::Malformed, {}};
}

}  // namespace velmo::client
