#ifndef VELMO_SERVICESESSION_H
#define VELMO_SERVICESESSION_H

#include <Poco/Net/HTTPClientSession.h>

#include <iosfwd>
#include <string>

namespace brix::velmo {

/// An HTTP session whose sockets are closed when the process executes another program. An inherited
/// socket would keep the connection open after this process has closed it.
///
/// Where versions of the networking library differ, the session decides: it connects to the address
/// that addressOf() gives, and a send that times out throws Poco::IOException, "Operation would
/// block".
class ServiceSession : public Poco::Net::HTTPClientSession {
 public:
  /// Opens no socket yet.
  ServiceSession(const std::string& host, unsigned short port);

  /// As the base class, which looks up the name if the program has set a proxy, even for a host
  /// that the proxy is not used for.
  /// @throws Poco::Exception  the host has no address, or any other exception of the base class
  std::ostream& sendRequest(Poco::Net::HTTPRequest& request) override;

 private:
  std::string m_host;
};

}  // namespace brix::velmo

#endif
