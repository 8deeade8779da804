#ifndef VELMO_CLOSEONEXECSESSION_H
#define VELMO_CLOSEONEXECSESSION_H

#include <Poco/Net/HTTPClientSession.h>

#include <string>

namespace brix::velmo {

/// An HTTP session whose sockets are closed when the process executes another program. An inherited
/// socket would keep the connection open after this process has closed it.
class CloseOnExecSession : public Poco::Net::HTTPClientSession {
 public:
  /// Opens no socket yet.
  CloseOnExecSession(const std::string& host, unsigned short port);
};

}  // namespace brix::velmo

#endif
