#ifndef VELMO_PROPERTIESFILE_H
#define VELMO_PROPERTIESFILE_H

#include <cstddef>
#include <functional>
#include <string>

#include "Fault.h"

namespace velmo::client {

/// What became of a properties file that was to be read.
struct PropertiesFile {
  std::string path;
  bool isMissing = false;        ///< which is not a failure
  Outcome failure{};             ///< why it could not be read to its end
  std::size_t skippedLines = 0;  ///< lines without "=", or without a name in front of it
};

/// Takes a name and its value. The texts are gone after the call.
using TakeProperty = std::function<void(const char* name, const char* value)>;

/// Reads a properties file, and passes each entry on, in the order of the file.
/// @param unreadable  the problem, if the file is there but cannot be read
PropertiesFile readProperties(std::string path, Problem unreadable, const TakeProperty& take);

}  // namespace velmo::client

#endif
