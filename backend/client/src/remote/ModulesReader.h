#ifndef VELMO_MODULESREADER_H
#define VELMO_MODULESREADER_H

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

/// A host in "modules.xml". Texts are as in the file, and empty if they are missing.
struct ModulesHost {
  std::string name{};
  std::optional<int> port{};  ///< websocket-port, if it is a number; not checked
  std::vector<std::string> modules{};
};

/// A machine in "modules.xml".
struct ModulesMachine {
  std::string hostname{};
  std::vector<ModulesHost> hosts{};
};

/// Everything that a file "modules.xml" says, and what clients make of it.
struct ModulesContents {
  std::vector<ModulesMachine> machines{};  ///< in the order of the file
  /// The machine and the host that run the module velmo last, by their indices: the one that is
  /// chosen, usable or not.
  std::optional<std::pair<std::size_t, std::size_t>> lastVelmo{};
  /// As from findService().
  Result<ServiceAddress> service;
};

/// Reads a file "modules.xml" within the limits of findService(). A file of which clients read
/// nothing, such as one that begins with a comment, has no machines.
/// @return a failure if the file cannot be read or is malformed
Result<ModulesContents> readModules(const std::string& path);

/// The same for the contents of a file.
/// @param path  for the texts of failures
Result<ModulesContents> readModulesIn(const std::string& contents, const std::string& path);

}  // namespace velmo::client

#endif
