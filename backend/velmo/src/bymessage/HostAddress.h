#ifndef VELMO_HOSTADDRESS_H
#define VELMO_HOSTADDRESS_H

#include <string>

namespace brix::velmo {

/// The address at which a host is reached: the host itself if it is an address, otherwise the
/// smallest of the addresses that the resolver has for the name. An IPv4 address is smaller than
/// any IPv6 address. Everything else is a name, also the path of a local socket.
/// @throws Poco::Net::HostNotFoundException, and other exceptions of the networking library: the
///                                           resolver finds no address
std::string addressOf(const std::string& host);

}  // namespace brix::velmo

#endif
