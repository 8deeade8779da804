#ifndef VELMO_MESSAGE_WORK_H
#define VELMO_MESSAGE_WORK_H

#include <cstddef>
#include <string>

/// What every client does with the messages of a round trip, whatever carries them: the peers
/// differ only in their WebSocket.
namespace message_work {

/// A serialised request.
std::string request(const std::string& priorityClass, const std::string& command,
                    const std::string& adjustment, const std::string& job,
                    const std::string& subJob, const std::string& information,
                    int relativePriority);

/// The request of every road: to run "true" as job J1.
std::string request();

/// Whether the bytes are a reply with the name of a task.
bool isReply(const char* bytes, std::size_t size);

/// The same, in the way that is common where a reply has several frames: the bytes are gathered in
/// a stream, parsed from it, and the message is copied.
bool isReplyInStream(const char* bytes, std::size_t size);

}  // namespace message_work

#endif
