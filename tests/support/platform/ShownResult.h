#ifndef VELMO_TEST_SHOWNRESULT_H
#define VELMO_TEST_SHOWNRESULT_H

#include <array>
#include <cstddef>
#include <string>

#include "Fault.h"

namespace velmo::test {

/// The line that a caller gets for a failure.
inline std::string lineOf(const client::Fault& fault) {
  velmo_error error{};
  client::describe(fault, &error);
  return error.message;
}

/// The same for an outcome, "" for success.
inline std::string lineOf(const client::Outcome& outcome) {
  return outcome ? lineOf(*outcome) : "";
}

/// The same for a result.
template <typename Value>
std::string lineOf(const client::Result<Value>& result) {
  return result.isOk() ? "" : lineOf(result.fault());
}

/// A failure as one text, its status and its line: "NOT_FOUND: not in the queue ...".
inline std::string shown(const client::Fault& fault) {
  constexpr std::array<const char*, 14> kNames{
      "OK",      "INVALID_ARGUMENT", "NOT_CONFIGURED", "NOT_RUNNING",     "TIMED_OUT",
      "STOPPED", "SYSTEM_ERROR",     "OUT_OF_MEMORY",  "UNREACHABLE",     "CONNECTION_LOST",
      "REFUSED", "IN_DOUBT",         "NOT_FOUND",      "UNEXPECTED_REPLY"};
  return std::string(kNames.at(static_cast<std::size_t>(client::statusOf(fault)))) + ": " +
         lineOf(fault);
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
