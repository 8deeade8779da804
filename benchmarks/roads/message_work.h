#ifndef VELMO_MESSAGE_WORK_H
#define VELMO_MESSAGE_WORK_H

#include <cstddef>
#include <string>

/// What every client does with the messages of a round trip, whatever carries them: the peers
/// differ only in their WebSocket.
namespace message_work {

/// The serialised request to run "true" as job J1, made from nothing at each call.
std::string request();

/// Whether the bytes are a reply with the name of a task.
bool isReply(const char* bytes, std::size_t size);

}  // namespace message_work

#endif
