#ifndef VELMO_REFUSAL_H
#define VELMO_REFUSAL_H

#include <string>

#include "Failure.h"

namespace velmo::cli {

/// Refuses a command line, and refers to the help.
/// @throws Failure  always, by default with Status::invalidArgument
[[noreturn]] inline void refuse(const std::string& text, Status status = Status::invalidArgument) {
  throw Failure(status, text + " (see --help)");
}

}  // namespace velmo::cli

#endif
