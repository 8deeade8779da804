#ifndef VELMO_JOBNUMBERS_H
#define VELMO_JOBNUMBERS_H

#include <optional>
#include <string>
#include <string_view>

#include "Settings.h"

namespace velmo::cli {

/// The largest number that a job can have.
constexpr int kLastJobNumber = 999999;

/// The number in the identifier of a job: 17 of "J17" and "node-J17". Nothing if a program chose
/// the identifier.
std::optional<int> jobNumberIn(std::string_view identifier);

/// The largest number in a text that a job can have, such as 17 of "17x"; nothing if it has none.
std::optional<int> numberIn(std::string_view text);

/// The largest job number found: of tasks in the queue and in TMP, in the job counter however
/// damaged it is, and in a copy of it.
std::optional<int> largestJobNumber(const client::Settings& settings);

}  // namespace velmo::cli

#endif
