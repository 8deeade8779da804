#include "Duration.h"

namespace velmo::client {

namespace {

constexpr time_t kMinute = 60;
constexpr time_t kHour = 60 * kMinute;
constexpr time_t kDay = 24 * kHour;

}  // namespace

std::string roughly(time_t seconds) {
  if (seconds < 2 * kMinute) {
    return std::to_string(seconds) + " s";
  }
  if (seconds < 2 * kHour) {
    return std::to_string(seconds / kMinute) + " min";
  }
  if (seconds < 2 * kDay) {
    return std::to_string(seconds / kHour) + " h";
  }
  return std::to_string(seconds / kDay) + " days";
}

}  // namespace velmo::client
