#ifndef VELMO_TEST_SHOWNRESULT_H
#define VELMO_TEST_SHOWNRESULT_H

#include <array>
#include <cstddef>
#include <string>

#include "Fault.h"

namespace velmo::test {

/// A failure as one text, its status and its line: "NOT_FOUND: not in the queue ...".
inline std::string shown(const client::Fault& fault) {
  constexpr std::array<const char*, 14> kNames{
      "OK",      "INVALID_ARGUMENT", "NOT_CONFIGURED", "NOT_RUNNING",     "TIMED_OUT",
      "STOPPED", "SYSTEM_ERROR",     "OUT_OF_MEMORY",  "UNREACHABLE",     "CONNECTION_LOST",
      "REFUSED", "IN_DOUBT",         "NOT_FOUND",      "UNEXPECTED_REPLY"};
  velmo_error error{};
  client::describe(fault, &error);
  return std::string(kNames.at(static_cast<std::size_t>(error.status))) + ": " + error.message;
}

/// "OK", or the failure.
inline std::string shown(const client::Outcome& outcome) {
  return outcome ? shown(*outcome) : "OK";
}

/// A number, or the failure instead of it.
inline std::string shown(const client::Result<int>& result) {
  return result.isOk() ? std::to_string(result.value()) : shown(result.fault());
}

}  // namespace velmo::test

#endif
