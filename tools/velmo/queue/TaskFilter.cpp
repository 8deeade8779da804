#include "TaskFilter.h"

namespace velmo::cli {

namespace {

bool isWanted(const std::optional<std::string>& wanted, const std::string& text) {
  return !wanted || *wanted == text;
}

}  // namespace

bool TaskFilter::isEmpty() const {
  return !job && !subJob && !type && !createdBefore;
}

bool TaskFilter::passes(const TaskName& parts) {
  if (!isWanted(job, parts.job) || !isWanted(subJob, parts.subJob) || !isWanted(type, parts.type)) {
    return false;
  }
  if (!createdBefore) {
    return true;
  }
  const std::optional<std::time_t> created = moments.of(parts.created);
  return created && *created <= *createdBefore;
}

}  // namespace velmo::cli
