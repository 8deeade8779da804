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

/// A kind of task. Every value other than TASK_SHELL_SCRIPT, out of range included, counts as a
/// Java class.
enum TaskType : int {
  TASK_JAVA_CLASS = 0,
  TASK_SHELL_SCRIPT = 1,
};

/// An error of the service client. The text is that of the networking library, or one of the
/// library's own; velmo-protocol(7) lists them.
class VELMO_EXPORT VelmoException : public std::runtime_error {
 public:
  /// @param message  the text of `what()`, which ends at its first NUL; may be empty
  VelmoException(const std::string& message);

  VelmoException(const VelmoException&) = default;             ///< An independent copy.
  VelmoException& operator=(const VelmoException&) = default;  ///< An independent copy.

  ~VelmoException() override;
};

/// A client of the velmo service at a host and port, by message. It submits tasks over one
/// WebSocket connection, one after the other.
///
/// The object owns the connection and never reconnects. Discard it after any exception of
/// addTask(): the connection may be broken, or hold the reply to an earlier request. One object is
/// used by one thread at a time. velmo-protocol(7) describes the exchange.
///
/// The calls block. The networking library limits connecting to 30 seconds, and every send and
/// every receive to 60 seconds. The resolver limits the look-up of the host name. Nothing limits
/// the sum.
///
/// @par Examples
/// @code
/// VelmoFacadeWS service("127.0.0.1", 8080);
/// std::cout << service.addTask("Normal", "echo hello", TASK_SHELL_SCRIPT,
///                              "", "J12", "0", "#1USE=me#1JNA=demo", 0);
/// @endcode
///
/// @par Caveats
/// The file host-safety.md of the documentation describes each of these:
/// - The destructor ends the process (std::terminate) if closing the connection fails, and may do
///   so after an addTask() that threw. A program that must survive a lost service uses the client
///   in a separate process.
/// - The first client that is destroyed shuts protocol buffers down for the whole process. From
///   then on, no thread may use descriptors, reflection or debug texts of any message. Keep one
///   client, and destroy it last.
/// - After fork(2), parent and child share the connection. If the child destroys its copy, it
///   closes the connection. Leave such a child with _exit(2), since exit(3) destroys static
///   objects.
/// - A control frame (ping, pong, close) or an empty frame in place of the reply makes the call
///   fail or return a wrong name. The next call then reads the real reply. Pings are not answered.
///   After a frame above 8192 bytes the connection is unusable.
/// - Loading the library blocks SIGPIPE in the thread that loads it. The calls never raise
///   SIGPIPE: they block it while they send, and restore the mask. Dispositions stay as they are.
/// - A text that is not UTF-8 is sent as it is.
class VELMO_EXPORT VelmoFacadeWS {
 public:
  /// Connects without TLS and upgrades to a WebSocket on the path `s_serviceUrl`. If the protocol
  /// buffers library does not match the messages, the process ends.
  /// @param host  name or address of the service's machine; empty fails to resolve. If a name has
  ///              several addresses, the smallest is used: an IPv4 address before an IPv6 address.
  /// @param port  its WebSocket port; the system refuses 0
  /// @throws VelmoException    the networking library's text: the host is unknown, nobody listens,
  ///                           or the peer does not upgrade, goes away or is silent for too long
  /// @throws std::logic_error  "basic_string::_M_construct null not valid": `s_serviceUrl` is null
  /// @throws std::bad_alloc    memory runs out
  VelmoFacadeWS(const std::string& host, unsigned short port);

  VelmoFacadeWS(const VelmoFacadeWS&) = delete;
  VelmoFacadeWS& operator=(const VelmoFacadeWS&) = delete;

  /// Sends a close frame, reads up to the end of one message, closes the connection and, the first
  /// time in a process, shuts protocol buffers down. Blocks as the other calls do. If any of this
  /// throws, the process ends.
  ~VelmoFacadeWS();  // NOLINT(bugprone-exception-escape): see the definition

  /// Sends one request and waits for its reply. Texts are sent unchanged and may be empty; the
  /// service decides what an empty one means. A request above 2 GB is not sent, but the call still
  /// waits for a reply. The reply may have any number of frames.
  ///
  /// A reply that is truncated or malformed after a valid beginning counts as far as it goes. A
  /// truncated name is padded with unspecified bytes.
  /// @param priorityType  name of the priority class
  /// @param command       class name or script, depending on `taskType`
  /// @param taskType      kind of task
  /// @param deltaType     name of the priority adjustment
  /// @param jobId         job that the task belongs to
  /// @param subJobId      sub-job within the job
  /// @param jobInfo       free text about the job
  /// @param relPriority   relative priority, any number
  /// @return the name that the service gave the task; empty if the reply has none
  /// @throws VelmoException  "Wrong type of message is returned!": the reply is not the reply to a
  ///                         request, or the connection ended before it. The networking library's
  ///                         text: the connection broke, the service was silent for too long, or a
  ///                         frame of the reply is larger than `s_frameSize`.
  /// @throws std::bad_alloc  memory runs out
  std::string addTask(const std::string& priorityType, const std::string& command,
                      TaskType taskType, const std::string& deltaType, const std::string& jobId,
                      const std::string& subJobId, const std::string& jobInfo, int relPriority);

  /// The most bytes of payload in one frame, sent or received.
  static const std::size_t s_frameSize = 8192;

  /// Path of the WebSocket handshake, "/velmo" unless a program sets another one. The program owns
  /// that text. Must not be null. Constructors read it without a lock: set it before you start
  /// threads.
  static const char* s_serviceUrl;

 private:
  std::unique_ptr<Poco::Net::WebSocket> m_ws;
};

/// Converts a kind of task to that of the messages. The result is ShellScript (2) for
/// TASK_SHELL_SCRIPT, JavaClass (1) for every other value. Never fails. The values are declared in
/// `velmo.pb.h`.
VELMO_EXPORT service::velmo::TaskType convertTaskType(TaskType type);

/// Sends one binary message over a WebSocket, in frames. Each frame may block for as long as the
/// connection's limit for sending. Never raises SIGPIPE. The file formats.md of the
/// documentation describes the frames.
/// @param ws         the connection, owned by the caller
/// @param data       the bytes. Null with a `length` above 0: nothing is sent, and the result is
///                   false.
/// @param length     number of bytes. 0: nothing is sent, and the result is true.
/// @param frameSize  most bytes of payload in a frame; above 2147483633 it counts as that. 0: one
///                   empty frame is sent, and the result is false.
/// @return true if all bytes were sent; false as soon as a frame could not be sent
/// @throws Poco::Exception  any exception of the networking library, unchanged
VELMO_EXPORT bool sendBytes(Poco::Net::WebSocket& ws, const char* data, std::size_t length,
                            std::size_t frameSize);

#endif
