#include "HostPort.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "OneLine.h"
#include "ParseNumber.h"
#include "Refusal.h"

namespace velmo::cli {

namespace {

constexpr int kHighestPort = 65535;

[[noreturn]] void refusePlace(const std::string& text, const char* why) {
  refuse("--to \"" + tools::oneLine(text) + "\": " + why);
}

// 0 if it is not a port.
int portOf(std::string_view text) {
  int port = 0;
  const bool isPort = parseNumber(text, port) && port >= 1 && port <= kHighestPort;
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
    refusePlace(text, "write an IPv6 address in brackets, such as [::1]:8080");
  }
  if (length == std::string::npos || length == 0) {
    refusePlace(text, "expected HOST:PORT");
  }
  const std::string host = isBracketed ? text.substr(1, length - 2) : text.substr(0, length);
  if (isBracketed && host.find(':') == std::string::npos) {
    refusePlace(text, "brackets are for an IPv6 address");
  }
  const int port = portOf(std::string_view(text).substr(length + 1));
  if (port == 0) {
    refusePlace(text, "the port is not a number in 1 to 65535");
  }
  return {host, port};
}

}  // namespace velmo::cli
