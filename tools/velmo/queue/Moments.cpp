#include "Moments.h"

#include <cstddef>
#include <string_view>

#include "LocalTime.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kDigits = 14;
constexpr std::size_t kHourDigits = 10;
constexpr std::size_t kMostHours = 10000;
constexpr std::time_t kMinute = 60;

// Of two digits below 60; otherwise -1.
std::time_t numberIn(std::string_view digits) {
  const bool isNumber =
      digits[0] >= '0' && digits[0] <= '5' && digits[1] >= '0' && digits[1] <= '9';
  return isNumber ? (digits[0] - '0') * 10 + (digits[1] - '0') : -1;
}

}  // namespace

std::optional<std::time_t> Moments::startOf(const std::string& hour) {
  const auto known = m_hours.find(hour);
  if (known != m_hours.end()) {
    return known->second;
  }
  if (m_hours.size() >= kMostHours) {
    m_hours.clear();
  }
  const std::optional<std::time_t> first = momentOf(hour + "0000");
  const std::optional<std::time_t> last = momentOf(hour + "5959");
  const bool isRegular = first && last && *last - *first == kMinute * kMinute - 1;
  return m_hours[hour] = isRegular ? first : std::nullopt;
}

std::optional<std::time_t> Moments::of(const std::string& created) {
  if (created.size() != kDigits) {
    return std::nullopt;
  }
  const std::string_view digits(created);
  const std::time_t minutes = numberIn(digits.substr(kHourDigits, 2));
  const std::time_t seconds = numberIn(digits.substr(kHourDigits + 2, 2));
  const std::optional<std::time_t> hour = startOf(created.substr(0, kHourDigits));
  return hour && minutes >= 0 && seconds >= 0 ? *hour + minutes * kMinute + seconds
                                              : momentOf(created);
}

}  // namespace velmo::cli
