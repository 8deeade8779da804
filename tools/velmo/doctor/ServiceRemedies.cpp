#include "ServiceRemedies.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "FileRemedies.h"
#include "Guess.h"

namespace velmo::cli {

namespace {

using client::Fault;
using client::Problem;

// "host:8080", "[::1]:8080"
std::string portIn(const std::string& address) {
  return address.substr(address.rfind(':') + 1);
}

}  // namespace

Remedy nameModules(const Fault& fault, const Site& site) {
  if (fault.systemError == EACCES) {
    return permit(absolutePath(fault.subject), "u+r");
  }
  const std::string& directory = site.installation.settings.conf.value;
  const std::string file = directory + "/modules.xml";
  if (!directory.empty() && file.front() == '/' && file != fault.subject &&
      access(file.c_str(), R_OK) == 0) {
    return exported("VELMO_MODULES_XML", file);
  }
  return onlyAdvice(
      "name the file \"modules.xml\" of the service with VELMO_MODULES_XML or --modules");
}

Remedy correctModules(const Fault&, const Site&) {
  return onlyAdvice("correct the file, or name another one with VELMO_MODULES_XML or --modules");
}

Remedy lookForListener(const Fault& fault, const Site&) {
  return onlyAdvice("start the service; check on its machine that it listens",
                    "ss -ltn 'sport = :" + portIn(fault.subject) + "'");
}

Remedy lookForOther(const Fault& fault, const Site&) {
  constexpr int kServerError = 500;
  const bool mayHang =
      fault.problem == Problem::HandshakeTimedOut || fault.peerCode >= kServerError;
  return onlyAdvice(mayHang ? "the service hangs, or another program listens there: restart the "
                              "service, or correct the port in \"modules.xml\""
                            : "correct the port in \"modules.xml\": another program listens there",
                    "ss -ltnp 'sport = :" + portIn(fault.subject) + "'");
}

Remedy correctHost(const Fault& fault, const Site&) {
  return onlyAdvice("correct the host in \"modules.xml\", or the name service",
                    forPath("getent hosts ", fault.subject));
}

Remedy tryAgain(const Fault&, const Site&) {
  return onlyAdvice("run velmo doctor again");
}

}  // namespace velmo::cli
