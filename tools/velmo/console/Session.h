#ifndef VELMO_SESSION_H
#define VELMO_SESSION_H

#include <unistd.h>

#include "Interrupt.h"
#include "Output.h"

namespace velmo::cli {

/// What a command works with.
struct Session {
  Output out{STDOUT_FILENO};
  Output err{STDERR_FILENO};
  Interrupt interrupt;
};

}  // namespace velmo::cli

#endif
