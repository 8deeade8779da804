#ifndef VELMO_REPLYMESSAGE_H
#define VELMO_REPLYMESSAGE_H

#include <string_view>

namespace velmo::client {

/// What a BaseMessage of the service says.
struct ReplyMessage {
  enum class Kind {
    Named,      ///< an AddTaskResponse with a name
    Malformed,  ///< not a message, or cut short
    OtherKind,  ///< a message without AddTaskResponse
    Nameless    ///< an AddTaskResponse without taskName
  };
  Kind kind = Kind::OtherKind;
  std::string_view name;  ///< if Named; may be empty; part of the parsed bytes
};

/// Parses the bytes as Protocol Buffers does: fields that the schema does not know are skipped, and
/// of a field that occurs twice the last one counts. Allocates nothing.
ReplyMessage parseReply(std::string_view bytes);

}  // namespace velmo::client

#endif
