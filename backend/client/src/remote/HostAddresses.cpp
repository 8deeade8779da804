#include "HostAddresses.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <cerrno>
#include <cstring>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace velmo::client {

namespace {

constexpr std::size_t kMostAddresses = 16;

template <typename Address>
SocketAddress storedAs(const Address& address) {
  SocketAddress result;
  std::memcpy(&result.storage, &address, sizeof address);
  result.size = sizeof address;
  return result;
}

std::optional<SocketAddress> numericAddress(const std::string& host, std::uint16_t port) {
  sockaddr_in four{};
  if (inet_pton(AF_INET, host.c_str(), &four.sin_addr) == 1) {
    four.sin_family = AF_INET;
    four.sin_port = htons(port);
    return storedAs(four);
  }
  sockaddr_in6 six{};
  if (inet_pton(AF_INET6, host.c_str(), &six.sin6_addr) == 1) {
    six.sin6_family = AF_INET6;
    six.sin6_port = htons(port);
    return storedAs(six);
  }
  return std::nullopt;
}

std::optional<SocketAddress> foundAddress(const addrinfo& found, std::uint16_t port) {
  if (found.ai_family == AF_INET && found.ai_addrlen >= sizeof(sockaddr_in)) {
    sockaddr_in four{};
    std::memcpy(&four, found.ai_addr, sizeof four);
    four.sin_port = htons(port);
    return storedAs(four);
  }
  if (found.ai_family == AF_INET6 && found.ai_addrlen >= sizeof(sockaddr_in6)) {
    sockaddr_in6 six{};
    std::memcpy(&six, found.ai_addr, sizeof six);
    six.sin6_port = htons(port);
    return storedAs(six);
  }
  return std::nullopt;
}

// Not gai_strerror(): its texts are in the language of the program's locale.
std::string reasonOf(int code) {
  switch (code) {
    case EAI_NONAME:
      return "the name is not known";
    case EAI_AGAIN:
      return "the name server does not answer";
    case EAI_FAIL:
      return "the name server failed";
    case EAI_NODATA:
      return "the name has no address";
    default:
      return "error " + std::to_string(code) + " of getaddrinfo()";
  }
}

Fault lookUpFault(const std::string& host, int code, int systemError) {
  if (code == EAI_MEMORY || (code == EAI_SYSTEM && systemError == ENOMEM)) {
    return Fault{Problem::OutOfMemory};
  }
  if (code == EAI_SYSTEM) {
    return Fault{Problem::HostNotFound, host, "the look-up failed", systemError};
  }
  return Fault{Problem::HostNotFound, host, reasonOf(code)};
}

struct AddressListDeleter {
  void operator()(addrinfo* list) const {
    freeaddrinfo(list);
  }
};

Result<std::vector<SocketAddress>> lookUp(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int code = getaddrinfo(host.c_str(), nullptr, &hints, &found);
  if (code != 0) {
    return lookUpFault(host, code, errno);
  }
  const std::unique_ptr<addrinfo, AddressListDeleter> list(found);
  std::vector<SocketAddress> addresses;
  for (const addrinfo* next = list.get(); next != nullptr; next = next->ai_next) {
    const std::optional<SocketAddress> address = foundAddress(*next, port);
    if (address && addresses.size() < kMostAddresses) {
      addresses.push_back(*address);
    }
  }
  if (addresses.empty()) {
    return lookUpFault(host, EAI_NODATA, 0);
  }
  return addresses;
}

}  // namespace

Result<std::vector<SocketAddress>> addressesOf(const std::string& host, int port) {
  const auto number = static_cast<std::uint16_t>(port);
  if (const std::optional<SocketAddress> address = numericAddress(host, number)) {
    return std::vector<SocketAddress>{*address};
  }
  return lookUp(host, number);
}

std::string addressText(const std::string& host, int port) {
  const bool hasColon = host.find(':') != std::string::npos;
  return (hasColon ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

}  // namespace velmo::client
