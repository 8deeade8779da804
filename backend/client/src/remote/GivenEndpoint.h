#ifndef VELMO_GIVENENDPOINT_H
#define VELMO_GIVENENDPOINT_H

#include <string>

#include "Fault.h"

namespace velmo::client {

/// Where a connection goes, and the flag that ends its waits.
struct GivenEndpoint {
  std::string host;
  int port = 0;
  std::string path;
  const volatile int* stop = nullptr;
};

/// Takes the caller's struct, and looks into "modules.xml" if no host is given.
/// @param endpoint  null: all defaults
Result<GivenEndpoint> takeEndpoint(const velmo_endpoint* endpoint);

/// The file "modules.xml": the given path, else the variable VELMO_MODULES_XML, else the place of
/// an installation.
/// @param given  null or empty: none
std::string modulesPath(const char* given);

}  // namespace velmo::client

#endif
