#ifndef VELMO_JOBTEXT_H
#define VELMO_JOBTEXT_H

#include <cstddef>
#include <string>

#include "Fault.h"
#include "JobFileScanner.h"

namespace velmo::client {

/// The text of a job file: a line for the identifier, one each for user and name unless they are
/// empty, and one for the priority. Nothing is escaped.
std::string jobFileText(const brix::velmo::JobFileFields& job);

/// The size of the pieces in which programs read a job file, with their terminating NUL: a longer
/// line arrives in several.
constexpr std::size_t kJobFilePieceSize = 256;

/// Whether a program that reads a job file finds this value of a key.
/// @param key  "id", "user" or "name"
bool readsBack(const std::string& key, const std::string& value);

/// Refuses a user or a name that would read back differently from a job file.
/// @param key  "user" or "name", also the name of the argument
Outcome checkStorable(const char* key, const std::string& text);

/// The job information for the tasks of a job: "#1USE=" and the user, "#1JNA=" and the name, each
/// unless it is empty.
std::string jobInformation(const brix::velmo::JobFileFields& job);

}  // namespace velmo::client

#endif
