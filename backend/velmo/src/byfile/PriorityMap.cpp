#include "PriorityMap.h"

#include "IMException.h"
#include "Numbering.h"
#include "ScanInt.h"

namespace brix::velmo {

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
