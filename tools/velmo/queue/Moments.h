#ifndef VELMO_MOMENTS_H
#define VELMO_MOMENTS_H

#include <ctime>
#include <optional>
#include <string>
#include <unordered_map>

namespace velmo::cli {

/// The moments that the times in names stand for. Asks the platform once for each hour, because it
/// looks at the time zone's file for each question.
class Moments {
 public:
  /// As momentOf().
  /// @param created  14 digits
  std::optional<std::time_t> of(const std::string& created);

 private:
  std::optional<std::time_t> startOf(const std::string& hour);

  // Nothing for an hour that is not a date, or in which the clocks change.
  std::unordered_map<std::string, std::optional<std::time_t>> m_hours{};
};

}  // namespace velmo::cli

#endif
