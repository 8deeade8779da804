#ifndef VELMO_SITE_H
#define VELMO_SITE_H

#include <functional>
#include <string>

#include "Installation.h"
#include "LockProof.h"

namespace velmo::cli {

/// What the remedies of faults depend on.
struct Site {
  const velmo_installation& installation;
  std::function<LockVerdict(const std::string& lockFile)> judgeLock;
};

}  // namespace velmo::cli

#endif
