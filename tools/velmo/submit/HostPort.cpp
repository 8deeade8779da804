#include "HostPort.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>

#include "Failure.h"
#include "OneLine.h"

namespace velmo::cli {

namespace {

constexpr int kHighestPort = 65535;

[[noreturn]] void refuse(const std::string& text, const std::string& why) {
  throw Failure(Status::invalidArgument, "--to \"" + tools::oneLine(text) + "\": " + why);
}

// 0 if it is not a port.
int portOf(std::string_view text) {
  int port = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, port);
  const bool isPort = error == std::errc() && stop == end && port >= 1 && port <= kHighestPort;
  return isPort ? port : 0;
}

// The part before the colon of the port, or npos.
std::size_t hostLength(const std::string& text) {
  if (text.empty() || text.front() != '[') {
    return text.find(':');
  }
  const std::size_t bracket = text.find("]:");
  return bracket == std::string::npos ? bracket : bracket + 1;
}

}  // namespace

HostPort parseHostPort(const std::string& text) {
  const bool isBracketed = !text.empty() && text.front() == '[';
  const std::size_t length = hostLength(text);
  if (!isBracketed && std::count(text.begin(), text.end(), ':') > 1) {
    refuse(text, "write an IPv6 address in brackets, such as [::1]:8080");
  }
  if (length == std::string::npos || length == 0) {
    refuse(text, "expected HOST:PORT");
  }
  const std::string host = isBracketed ? text.substr(1, length - 2) : text.substr(0, length);
  if (isBracketed && host.find(':') == std::string::npos) {
    refuse(text, "brackets are for an IPv6 address");
  }
  const int port = portOf(std::string_view(text).substr(length + 1));
  if (port == 0) {
    refuse(text, "the port is not a number in 1 to 65535");
  }
  return {host, port};
}

}  // namespace velmo::cli
