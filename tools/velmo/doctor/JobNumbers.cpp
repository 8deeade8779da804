#include "JobNumbers.h"

#include <algorithm>
#include <charconv>

#include "FileCalls.h"
#include "Listing.h"

namespace velmo::cli {

namespace {

constexpr std::string_view kDigits = "0123456789";

std::optional<int> parsed(std::string_view digits) {
  int number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  const bool isNumber = error == std::errc() && stop == end && number <= kLastJobNumber;
  return isNumber ? std::optional<int>(number) : std::nullopt;
}

void takeLarger(std::optional<int>& largest, std::optional<int> number) {
  if (number && (!largest || *number > *largest)) {
    largest = number;
  }
}

void takeTasksIn(const std::string& directory, std::optional<int>& largest) {
  const client::DirectoryNames found = client::namesIn(directory);
  for (const std::string& name : found.names) {
    if (const auto parts = client::parseName(name)) {
      takeLarger(largest, jobNumberIn(parts->jobId));
    }
  }
}

}  // namespace

std::optional<int> jobNumberIn(std::string_view identifier) {
  const std::size_t last = identifier.find_last_not_of(kDigits);
  const bool isNumbered = last != std::string_view::npos && identifier[last] == 'J' &&
                          last + 1 < identifier.size() &&
                          (last == 0 || identifier[last - 1] == '-');
  return isNumbered ? parsed(identifier.substr(last + 1)) : std::nullopt;
}

std::optional<int> numberIn(std::string_view text) {
  std::optional<int> largest;
  std::size_t begin = 0;
  while ((begin = text.find_first_of(kDigits, begin)) != std::string_view::npos) {
    const std::size_t end = std::min(text.find_first_not_of(kDigits, begin), text.size());
    takeLarger(largest, parsed(text.substr(begin, end - begin)));
    begin = end;
  }
  return largest;
}

std::optional<int> largestJobNumber(const client::Settings& settings) {
  std::optional<int> largest;
  takeTasksIn(settings.var.value + "/taskqueue", largest);
  takeTasksIn(settings.tmp.value, largest);
  for (const char* file : {"/velmo/jobid", "/velmo/jobid_tmp"}) {
    const client::FileStart start = client::readStart(settings.data.value + file);
    if (start.error == 0) {
      takeLarger(largest, numberIn(start.text()));
    }
  }
  return largest;
}

}  // namespace velmo::cli
