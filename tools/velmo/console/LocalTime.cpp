#include "LocalTime.h"

#include <array>
#include <utility>

namespace velmo::cli {

namespace {

// The platform makes 3 March of 31 February. At noon, no clock changes the date.
bool isInCalendar(const std::tm& time) {
  std::tm noon{};
  noon.tm_year = time.tm_year;
  noon.tm_mon = time.tm_mon;
  noon.tm_mday = time.tm_mday;
  noon.tm_hour = 12;
  timegm(&noon);
  return noon.tm_mday == time.tm_mday;
}

}  // namespace

std::string withSeparators(std::string_view created, char separator) {
  std::string text(created);
  constexpr std::array<std::pair<std::size_t, char>, 5> kMarks{
      {{12, ':'}, {10, ':'}, {8, ' '}, {6, '-'}, {4, '-'}}};
  for (const auto& [place, mark] : kMarks) {
    if (place < text.size()) {
      text.insert(place, 1, mark == ' ' ? separator : mark);
    }
  }
  return text;
}

std::optional<std::time_t> momentOf(std::string_view created) {
  std::tm local{};
  local.tm_isdst = -1;
  const std::string text(created);
  const char* end = strptime(text.c_str(), "%Y%m%d%H%M%S", &local);
  if (end == nullptr || *end != '\0' || !isInCalendar(local)) {
    return std::nullopt;
  }
  local.tm_isdst = -1;
  const std::time_t moment = std::mktime(&local);
  return moment == -1 ? std::nullopt : std::optional(moment);
}

}  // namespace velmo::cli
