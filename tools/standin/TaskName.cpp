#include "TaskName.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace standin {

namespace {

constexpr std::size_t kTimestampDigits = 14;

std::optional<int> parseNumber(std::string_view text) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) {
    return std::nullopt;
  }
  return number;
}

// A number as "%04d" writes it; any other text for the same number makes another name.
std::optional<int> parseFourDigits(std::string_view text) {
  const std::optional<int> number = parseNumber(text);
  return number && fmt::format("{:04d}", *number) == text ? number : std::nullopt;
}

std::optional<int> parseTaskId(std::string_view text) {
  const std::optional<int> number = parseNumber(text);
  return number && *number >= 0 && fmt::format("{}", *number) == text ? number : std::nullopt;
}

bool isWithin(std::string_view digits, int least, int greatest) {
  const int number = parseNumber(digits).value_or(-1);
  return number >= least && number <= greatest;
}

bool isTimestamp(std::string_view text) {
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  return text.size() == kTimestampDigits && std::all_of(text.begin(), text.end(), isDigit) &&
         isWithin(text.substr(4, 2), 1, 12) && isWithin(text.substr(6, 2), 1, 31) &&
         isWithin(text.substr(8, 2), 0, 23) && isWithin(text.substr(10, 2), 0, 59) &&
         isWithin(text.substr(12, 2), 0, 60);
}

// Splits off what stands before the first dot, and the dot.
std::optional<std::string_view> takePart(std::string_view& rest) {
  const std::size_t dot = rest.find('.');
  if (dot == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view part = rest.substr(0, dot);
  rest.remove_prefix(dot + 1);
  return part;
}

// "JOB.SSUBJOB"
bool parseIdentifiers(std::string_view text, TaskName& name) {
  const std::size_t mark = text.rfind(".S");
  if (mark == std::string_view::npos || mark == 0) {
    return false;
  }
  name.jobId = text.substr(0, mark);
  name.subJobId = text.substr(mark + 2);
  return true;
}

// "TASK.RRELATIVE.TYPE"
bool parseTail(std::string_view text, TaskName& name) {
  const std::optional<std::string_view> taskId = takePart(text);
  const std::optional<std::string_view> relative = takePart(text);
  if (!taskId || !relative || relative->substr(0, 1) != "R") {
    return false;
  }
  const std::optional<int> taskNumber = parseTaskId(*taskId);
  const std::optional<int> relativeNumber = parseFourDigits(relative->substr(1));
  if (!taskNumber || !relativeNumber) {
    return false;
  }
  name.taskId = *taskNumber;
  name.relativePriority = *relativeNumber;
  name.commandType = text;
  return true;
}

}  // namespace

// Parts of the name, in order: priority, time, job, S and sub-job, T and the time again, task, R
// and relative priority, command type. The time's second appearance tells where the identifiers
// end, whatever they hold.
std::optional<TaskName> parseTaskName(std::string_view name) {
  const std::optional<std::string_view> priority = takePart(name);
  const std::optional<std::string_view> created = takePart(name);
  if (!priority || !created || !isTimestamp(*created)) {
    return std::nullopt;
  }
  const std::optional<int> priorityNumber = parseFourDigits(*priority);
  const std::string secondTime = fmt::format(".T{}-", *created);
  const std::size_t mark = name.rfind(secondTime);
  if (!priorityNumber || mark == std::string_view::npos) {
    return std::nullopt;
  }

  TaskName result;
  result.priority = *priorityNumber;
  result.created = *created;
  if (!parseIdentifiers(name.substr(0, mark), result) ||
      !parseTail(name.substr(mark + secondTime.size()), result)) {
    return std::nullopt;
  }
  return result;
}

std::string describe(const TaskName& name) {
  const std::string_view time = name.created;
  return fmt::format(
      "priority {:04d}, created {}-{}-{} {}:{}:{}, job {}, sub-job {}, task {}, relative {}, type "
      "{}",
      name.priority, time.substr(0, 4), time.substr(4, 2), time.substr(6, 2), time.substr(8, 2),
      time.substr(10, 2), time.substr(12, 2), name.jobId, name.subJobId, name.taskId,
      name.relativePriority, name.commandType);
}

}  // namespace standin
