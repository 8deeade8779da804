#ifndef VELMO_FINDING_H
#define VELMO_FINDING_H

#include <velmo/velmo.hpp>

#include <string>

#include "Check.h"
#include "Remedy.h"

namespace velmo::cli {

/// A check and its result. A check with two faults has two findings.
struct Finding {
  enum class Kind { Ok, Skipped, Fault };

  Check check;
  std::string lookedAt;
  Kind kind = Kind::Ok;
  std::string note = {};  ///< why it was not looked at, or what is remarkable although all is well
  Status status = Status::ok;    ///< of a fault
  std::string fault = {};        ///< the text of the library
  std::string consequence = {};  ///< of the fault, in one sentence
  Remedy remedy = {};            ///< of the fault
};

}  // namespace velmo::cli

#endif
