#include "PriorityMap.h"

#include <algorithm>
#include <cstdint>

#include "IMException.h"
#include "ScanInt.h"

namespace brix::velmo {

namespace {

constexpr int kLowestPriority = 0;
constexpr int kHighestPriority = 9999;

}  // namespace

// Deliberate: an adjustment of 0 leaves the class as it is configured, even outside the bounds.
// Installations use such numbers to sort tasks behind all others.
int adjustedPriority(int priority, int adjustment) {
  if (adjustment == 0) {
    return priority;
  }
  const std::int64_t sum = std::int64_t{priority} + adjustment;
  return static_cast<int>(std::clamp<std::int64_t>(sum, kLowestPriority, kHighestPriority));
}

Outcome PriorityMap::loadHome(const std::string& file) {
  try {
    m_numbers.load(file.c_str());
  } catch (const imutils::IMException&) {
    return Failure{Step::LoadHomePriorities, file};
  }
  return std::nullopt;
}

void PriorityMap::loadConf(const std::string& file) {
  try {
    m_numbers.load(file.c_str());
  } catch (const imutils::IMException&) {
    // Deliberate: only a failure with the first file is reported. Administrators know the log line
    // as one about VELMO_HOME.
  }
}

std::optional<int> PriorityMap::find(const char* name) const {
  const char* value = m_numbers.getProperty(name);
  if (value == nullptr) {
    return std::nullopt;
  }
  return imutils::scanInt(value).value_or(0);
}

EffectivePriority PriorityMap::effectivePriority(const char* priorityClass,
                                                 const char* adjustment) const {
  const std::optional<int> priority = find(priorityClass);
  if (!priority) {
    return {kUnknownPriority, Failure{Step::FindClass, priorityClass}};
  }
  if (adjustment == nullptr) {
    return {*priority, std::nullopt};
  }
  const std::optional<int> change = find(adjustment);
  if (!change) {
    return {*priority, Failure{Step::FindAdjustment, adjustment}};
  }
  return {adjustedPriority(*priority, *change), std::nullopt};
}

}  // namespace brix::velmo
