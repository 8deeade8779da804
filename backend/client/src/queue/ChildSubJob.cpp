#include "ChildSubJob.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

#include "GivenTask.h"
#include "TaskFileName.h"

namespace velmo::client {

namespace {

// Whether the number in front of the underscore can be raised.
bool hasSuccessor(const std::string& head) {
  using Limits = std::numeric_limits<int>;
  errno = 0;
  const long number = std::strtol(head.c_str(), nullptr, 10);
  return errno != ERANGE && number >= Limits::min() && number < Limits::max();
}

}  // namespace

Result<std::string> childSubJob(const std::string& parent, const std::string& suffix) {
  if (parent.empty()) {
    return Fault{Problem::ArgumentMissing, "parent"};
  }
  std::optional<std::string> child =
      brix::velmo::childSubJobId(parent, suffix.empty() ? nullptr : suffix.c_str());
  if (!child) {
    return Fault{Problem::NoUnderscore, parent};
  }
  const std::string head = parent.substr(0, parent.find('_'));
  if (!hasSuccessor(head)) {
    return Fault{Problem::ArgumentOutOfRange, "parent", head};
  }
  if (Outcome failure = checkIdentifier("sub_job", *child)) {
    return *std::move(failure);
  }
  return *std::move(child);
}

}  // namespace velmo::client
