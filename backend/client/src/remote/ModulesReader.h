#ifndef VELMO_MODULESREADER_H
#define VELMO_MODULESREADER_H

#include <string>

#include "Fault.h"

namespace velmo::client {

/// Where clients find the service.
struct ServiceAddress {
  std::string host;  ///< printable, without blanks, shorter than VELMO_NAME_SIZE
  int port;          ///< 1 to 65535
};

/// Reads a file "modules.xml" and chooses the last host that runs the module velmo.
///
/// Only a regular file of at most 4 MiB is read, and elements are read down to a depth of 1000. An
/// external entity is never opened. A document type declaration ends the reading: such a file names
/// no service.
Result<ServiceAddress> findService(const std::string& path);

/// The same for the contents of a file.
/// @param path  for the texts of failures
Result<ServiceAddress> findServiceIn(const std::string& contents, const std::string& path);

}  // namespace velmo::client

#endif
