#ifndef VELMO_PRIORITYMAP_H
#define VELMO_PRIORITYMAP_H

#include <optional>
#include <string>

#include "Failure.h"
#include "IMProperties.h"

namespace brix::velmo {

/// The priority of a class whose name is not configured.
constexpr int kUnknownPriority = 9999;

/// The priority of a task. The number is valid even if there is a failure, which the caller
/// reports.
struct EffectivePriority {
  int number;
  Outcome failure;
};

/// The numbers of priority classes and adjustments, from the two files "priorities.cfg".
class PriorityMap {
 public:
  /// Loads the file in VELMO_HOME, which comes first. A missing file is not a failure.
  Outcome loadHome(const std::string& file);

  /// Loads the file in CONF, which comes second: for a name in both files, its number wins.
  /// Failures with it are not reported.
  void loadConf(const std::string& file);

  /// The number of a class or an adjustment; 0 if its value is not a number, nothing if the name is
  /// in neither file.
  /// @param name  not null
  std::optional<int> find(const char* name) const;

  /// The number of the class, adjusted. A class that is not configured counts as kUnknownPriority,
  /// and its adjustment is not looked up. An adjustment that is not configured counts as none.
  /// @param priorityClass  not null
  /// @param adjustment     null: none
  EffectivePriority effectivePriority(const char* priorityClass, const char* adjustment) const;

 private:
  imutils::IMProperties m_numbers;
};

}  // namespace brix::velmo

#endif
