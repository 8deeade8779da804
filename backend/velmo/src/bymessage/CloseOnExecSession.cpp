#include "CloseOnExecSession.h"

#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/StreamSocketImpl.h>
#include <sys/socket.h>

namespace brix::velmo {

namespace {

// Marks the socket when it is created: another thread could execute a program before a later fcntl.
class CloseOnExecSocket : public Poco::Net::StreamSocketImpl {
 protected:
  void init(int family) override {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
      error();
    }
    reset(descriptor);
  }
};

}  // namespace

CloseOnExecSession::CloseOnExecSession(const std::string& host, unsigned short port)
    : HTTPClientSession(host, port) {
  attachSocket(Poco::Net::StreamSocket(new CloseOnExecSocket));
}

}  // namespace brix::velmo
