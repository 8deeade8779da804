#ifndef VELMO_LOCALTIME_H
#define VELMO_LOCALTIME_H

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace velmo::cli {

/// "20250303140509" as "2025-03-03 14:05:09".
/// @param created    14 digits, as in the names of tasks
/// @param separator  between date and time
std::string withSeparators(std::string_view created, char separator = ' ');

/// The moment that 14 digits in local time stand for; nothing if they are not a date.
std::optional<std::time_t> momentOf(std::string_view created);

}  // namespace velmo::cli

#endif
