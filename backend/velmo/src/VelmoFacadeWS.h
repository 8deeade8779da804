#ifndef VELMO_VELMOFACADEWS_H
#define VELMO_VELMOFACADEWS_H

/// @file
/// Submitting tasks by message, to a given host and port.

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "Export.h"

namespace Poco::Net {
class WebSocket;
}

namespace service::velmo {
enum TaskType : int;  // defined in velmo.pb.h
}

/// What a task is. Only TASK_SHELL_SCRIPT is told apart: every other value, out of range included,
/// is a Java class.
enum TaskType : int {
  TASK_JAVA_CLASS = 0,
  TASK_SHELL_SCRIPT = 1,
};

/// What the service client throws: the text of the networking library, or one of its own.
class VELMO_EXPORT VelmoException : public std::runtime_error {
 public:
  /// @param message  what what() returns; may be empty, and what() ends at its first NUL
  VelmoException(const std::string& message);

  /// An independent copy.
  VelmoException(const VelmoException&) = default;

  /// Becomes an independent copy.
  VelmoException& operator=(const VelmoException&) = default;

  ~VelmoException() override;
};

/// Submits tasks to the velmo service over one WebSocket connection, one after the other.
///
/// The object owns the connection, from the constructor to the destructor. It never connects again:
/// after an addTask() that failed the connection may be broken or out of step, so discard the
/// object. One object is used by one thread at a time; objects are independent of each other but
/// for the destructor's last step.
///
/// Mind, before you load this into a program:
/// - the destructor ends the process (std::terminate) when closing the connection fails: after a
///   reset, after a reply that was too large, when the service is silent for 60 seconds;
/// - the first client that is destroyed shuts the protocol-buffer library down, for the whole
///   process and for good. Clients may be destroyed in several threads at a time. The shutdown does
///   not wait for threads that use protocol buffers otherwise: from then on no thread may use
///   descriptors, reflection or debug texts of any message;
/// - the calls block. The client sets no limit; the networking library's are 30 seconds for
///   connecting and 60 for every send and every receive, and the destructor waits once more.
///   Looking up the host's name has the resolver's limit;
/// - a peer that has gone never raises SIGPIPE, in whichever thread. The calls leave dispositions
///   and signal masks as they are. Loading the library blocks SIGPIPE in the loading thread;
/// - fork() copies the object, and parent and child share the connection: if the child destroys its
///   copy, it closes the parent's connection. Leave such a child with _exit(): exit() destroys
///   static objects;
/// - a control frame (ping, pong, close) counts as the reply, or a part of it, and pings are not
///   answered. An empty frame ends the reply. Both leave the real reply for the next call. A frame
///   above 8192 bytes is refused, and its payload is then taken for frames;
/// - in a build without NDEBUG, the protocol-buffer library writes lines to standard error about
///   texts that are not UTF-8, which are sent all the same.
class VELMO_EXPORT VelmoFacadeWS {
 public:
  /// Connects, without TLS, and upgrades to a WebSocket on the path `s_serviceUrl`. Blocks: see the
  /// class comment. A protocol-buffer library that does not go with the messages ends the process.
  /// @param host  name or address of the service's machine; empty fails to resolve
  /// @param port  its WebSocket port; 0 is refused by the system
  /// @throws VelmoException    the networking library's text: no such host, nobody listening, a
  ///                           peer that does not upgrade, goes away or is silent for 60 seconds
  /// @throws std::logic_error  "basic_string::_M_construct null not valid", when `s_serviceUrl` is
  ///                           null
  /// @throws std::bad_alloc    when memory runs out
  VelmoFacadeWS(const std::string& host, unsigned short port);

  VelmoFacadeWS(const VelmoFacadeWS&) = delete;
  VelmoFacadeWS& operator=(const VelmoFacadeWS&) = delete;

  /// Sends a close frame, reads what still comes up to the end of one message, closes the
  /// connection and, once in a process, shuts the protocol-buffer library down. Blocks for as long as a send and each
  /// receive may, 60 seconds. When any of this throws, the process ends.
  ~VelmoFacadeWS();  // NOLINT(bugprone-exception-escape): see the definition

  /// Sends one request and waits for its reply. All texts may be empty and are sent as they are, of
  /// any length up to a request of 2 GB; one that does not fit is not sent, and the call waits for
  /// a reply all the same. The reply may have any number of frames and any size.
  ///
  /// A reply that breaks off or is malformed behind a valid beginning counts as far as it goes. Of
  /// a name that breaks off, the missing bytes are filled up with any.
  /// @param priorityType  name of the priority class
  /// @param command       class name or script, by `taskType`
  /// @param taskType      kind of task: see TaskType
  /// @param deltaType     name of the priority adjustment
  /// @param jobId         job that the task belongs to
  /// @param subJobId      sub-job within the job
  /// @param jobInfo       free text about the job
  /// @param relPriority   relative priority, any number
  /// @return the name that the service gave the task; empty when the reply has none
  /// @throws VelmoException  "Wrong type of message is returned!" when the reply is anything else,
  ///                         or the connection ended before one; the networking library's text when
  ///                         the connection breaks, the service is silent for 60 seconds, or a
  ///                         frame of the reply has more than 8192 bytes
  /// @throws std::bad_alloc  when memory runs out
  std::string addTask(const std::string& priorityType, const std::string& command,
                      TaskType taskType, const std::string& deltaType, const std::string& jobId,
                      const std::string& subJobId, const std::string& jobInfo, int relPriority);

  /// Most bytes of payload in one frame, sent or received.
  static const std::size_t s_frameSize = 8192;

  /// Path of the WebSocket handshake, "/velmo"; the text stays the program's. Read by every
  /// constructor without a lock: change it before threads construct clients. Not null.
  static const char* s_serviceUrl;

 private:
  std::unique_ptr<Poco::Net::WebSocket> m_ws;
};

/// The kind of task as the messages have it: ShellScript (2) for TASK_SHELL_SCRIPT, JavaClass (1)
/// for every other value. Never fails.
VELMO_EXPORT service::velmo::TaskType convertTaskType(TaskType type);

/// Sends `length` bytes as one binary WebSocket message, in frames of at most `frameSize` bytes.
/// Blocks for as long as the connection's limit for sending, for each frame. A peer that has gone
/// raises no SIGPIPE.
/// @param ws         the connection, which stays the caller's
/// @param data       null with a `length` above 0 sends nothing, and the result is false
/// @param length     0: nothing is sent, and the result is true
/// @param frameSize  above 2147483633 counts as that; 0: one empty frame goes out, and the
///                   result is false
/// @return whether all bytes went out; false as soon as a frame could not be sent, with those in
///         front of it on their way
/// @throws Poco::Exception  what the networking library throws, unchanged
VELMO_EXPORT bool sendBytes(Poco::Net::WebSocket& ws, const char* data, std::size_t length,
                            std::size_t frameSize);

#endif
