#include "ServiceSession.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/StreamSocketImpl.h>
#include <sys/socket.h>

#include <cerrno>

#include "HostAddress.h"

namespace brix::velmo {

namespace {

class ServiceSocket : public Poco::Net::StreamSocketImpl {
 public:
  using StreamSocketImpl::sendBytes;

  // Newer versions of the networking library throw a TimeoutException, which has another text, and
  // after which the session does not repeat the first write of a handshake on a new connection.
  int sendBytes(const void* buffer, int length, int flags) override {
    try {
      return StreamSocketImpl::sendBytes(buffer, length, flags);
    } catch (const Poco::TimeoutException& exception) {
      if (exception.code() == EAGAIN) {
        throw Poco::IOException("Operation would block", EAGAIN);
      }
      throw;
    }
  }

 protected:
  // Marks the socket when it is created: another thread could execute a program before a later
  // fcntl.
  void init(int family) override {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
      error();
    }
    reset(descriptor);
  }
};

}  // namespace

ServiceSession::ServiceSession(const std::string& host, unsigned short port)
    : HTTPClientSession(host, port), m_host(host) {
  attachSocket(Poco::Net::StreamSocket(new ServiceSocket));
}

// The base class connects to the host that the session has then. The request names the original
// host, as the base class would, and behind the other headers as well.
std::ostream& ServiceSession::sendRequest(Poco::Net::HTTPRequest& request) {
  if (!connected() && getProxyHost().empty()) {
    setHost(addressOf(m_host));
    if (!request.has(Poco::Net::HTTPRequest::HOST)) {
      request.setHost(m_host, getPort());
    }
  }
  return HTTPClientSession::sendRequest(request);
}

}  // namespace brix::velmo
