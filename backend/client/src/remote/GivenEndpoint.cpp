#include "GivenEndpoint.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "GivenTask.h"
#include "InputStruct.h"
#include "ModulesReader.h"
#include "velmo.h"

namespace velmo::client {

namespace {

constexpr int kHighestPort = 65535;

bool isBlankOrControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte <= ' ' || byte == 0x7F;
}

// Both become part of the handshake's lines.
Outcome checkPrintable(const char* name, std::string_view text) {
  if (std::any_of(text.begin(), text.end(), isBlankOrControl)) {
    return Fault{Problem::ArgumentHasBlank, name, std::string(text)};
  }
  return std::nullopt;
}

Outcome checkPath(std::string_view path) {
  if (path.empty()) {
    return std::nullopt;
  }
  if (path.front() != '/') {
    return Fault{Problem::ArgumentNotAbsolute, "path", std::string(path)};
  }
  return checkPrintable("path", path);
}

Outcome checkHost(std::string_view host) {
  if (host.size() >= VELMO_NAME_SIZE) {
    return Fault{Problem::ArgumentTooLong, "host", std::to_string(host.size())};
  }
  return checkPrintable("host", host);
}

Outcome checkPort(int port, bool isHostGiven) {
  const int lowest = isHostGiven ? 1 : 0;
  if (port < lowest || port > kHighestPort) {
    return Fault{Problem::ArgumentOutOfRange, "port", std::to_string(port)};
  }
  return std::nullopt;
}

Outcome checkEndpoint(const velmo_endpoint& endpoint) {
  if (Outcome outcome = checkSize(&endpoint, "velmo_endpoint")) {
    return outcome;
  }
  const std::string_view host = textOf(endpoint.host);
  if (Outcome outcome = checkHost(host)) {
    return outcome;
  }
  if (Outcome outcome = checkPort(endpoint.port, !host.empty())) {
    return outcome;
  }
  return checkPath(textOf(endpoint.path));
}

velmo_endpoint defaultEndpoint() {
  velmo_endpoint endpoint{};
  endpoint.size = sizeof endpoint;
  return endpoint;
}

}  // namespace

std::string modulesPath(const char* given) {
  if (!textOf(given).empty()) {
    return given;
  }
  const std::string_view variable = textOf(getenv("VELMO_MODULES_XML"));
  return std::string(variable.empty() ? "/home/dorvan/var/conf/modules.xml" : variable);
}

Result<GivenEndpoint> takeEndpoint(const velmo_endpoint* endpoint) {
  const velmo_endpoint given = endpoint != nullptr ? *endpoint : defaultEndpoint();
  if (endpoint != nullptr) {
    if (Outcome outcome = checkEndpoint(*endpoint)) {
      return *std::move(outcome);
    }
  }
  GivenEndpoint result{std::string(textOf(given.host)), given.port, std::string(textOf(given.path)),
                       given.stop};
  if (result.path.empty()) {
    result.path = "/velmo";
  }
  if (!result.host.empty()) {
    return result;
  }
  Result<ServiceAddress> service = findService(modulesPath(given.modules_xml));
  if (!service.isOk()) {
    return std::move(service.fault());
  }
  result.host = std::move(service.value().host);
  if (result.port == 0) {
    result.port = service.value().port;
  }
  return result;
}

}  // namespace velmo::client
