#include "TaskFileName.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <system_error>

#include "DecimalText.h"
#include "Joined.h"

namespace brix::velmo {

namespace {

using imutils::DecimalText;
using imutils::joined;

constexpr std::size_t kTimestampDigits = 14;

DecimalText fourDigits(int number) {
  return DecimalText(number, 4);
}

std::optional<int> parseNumber(std::string_view text) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) {
    return std::nullopt;
  }
  return number;
}

// Takes a number only as fourDigits() writes it: any other text for it would be another name.
std::optional<int> parseFourDigits(std::string_view text) {
  const std::optional<int> number = parseNumber(text);
  return number && std::string_view(fourDigits(*number)) == text ? number : std::nullopt;
}

std::optional<int> parseTaskId(std::string_view text) {
  const std::optional<int> number = parseNumber(text);
  return number && *number >= 0 && std::string_view(DecimalText(*number)) == text ? number
                                                                                  : std::nullopt;
}

// Of two digits.
bool isWithin(std::string_view digits, int least, int greatest) {
  const int number = (digits[0] - '0') * 10 + (digits[1] - '0');
  return number >= least && number <= greatest;
}

// Removes the text before the first dot, and the dot; returns the text.
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
bool parseIdentifiers(std::string_view text, TaskFileName& name) {
  const std::size_t mark = text.rfind(".S");
  if (mark == std::string_view::npos || mark == 0) {
    return false;
  }
  name.jobId = text.substr(0, mark);
  name.subJobId = text.substr(mark + 2);
  return true;
}

// "TASK.RRELATIVE.TYPE"
bool parseTail(std::string_view text, TaskFileName& name) {
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

std::string formatTaskFileName(const TaskFileName& name) {
  return joined({fourDigits(name.priority), ".", name.created, ".", name.jobId, ".S", name.subJobId,
                 ".T", name.created, "-", DecimalText(name.taskId), ".R",
                 fourDigits(name.relativePriority), ".", name.commandType});
}

bool isTimestamp(std::string_view text) {
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  return text.size() == kTimestampDigits && std::all_of(text.begin(), text.end(), isDigit) &&
         isWithin(text.substr(4, 2), 1, 12) && isWithin(text.substr(6, 2), 1, 31) &&
         isWithin(text.substr(8, 2), 0, 23) && isWithin(text.substr(10, 2), 0, 59) &&
         isWithin(text.substr(12, 2), 0, 60);
}

// The second occurrence of the time marks the end of the identifiers, whatever they contain.
std::optional<TaskFileName> parseTaskFileName(std::string_view name) {
  const std::optional<std::string_view> priority = takePart(name);
  const std::optional<std::string_view> created = takePart(name);
  if (!priority || !created || !isTimestamp(*created)) {
    return std::nullopt;
  }
  const std::optional<int> priorityNumber = parseFourDigits(*priority);
  const std::string secondTime = ".T" + std::string(*created) + "-";
  const std::size_t mark = name.rfind(secondTime);
  if (!priorityNumber || mark == std::string_view::npos) {
    return std::nullopt;
  }

  TaskFileName result;
  result.priority = *priorityNumber;
  result.created = *created;
  if (!parseIdentifiers(name.substr(0, mark), result) ||
      !parseTail(name.substr(mark + secondTime.size()), result)) {
    return std::nullopt;
  }
  return result;
}

std::string currentTimestamp() {
  const time_t now = time(nullptr);
  tm local{};
  if (localtime_r(&now, &local) == nullptr) {
    local = tm{};  // a year beyond the calendar leaves it partly written
  }
  // Behind the year, each part has at most two digits, so all of them are one number. The year may
  // have any number of digits.
  long sinceYear = local.tm_mon + 1;
  for (const int part : {local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec}) {
    sinceYear = sinceYear * 100 + part;
  }
  return joined({DecimalText(local.tm_year + 1900L, 4), DecimalText(sinceYear, 10)});
}

std::optional<std::string> childSubJobId(const std::string& parent, const char* childSuffix) {
  const std::size_t underscore = parent.find('_');
  if (underscore == std::string::npos) {
    return std::nullopt;
  }
  const std::string head = parent.substr(0, underscore);
  // Unsigned: the sum may exceed a long. The result is cut to 32 bits.
  const auto number = static_cast<unsigned long>(std::strtol(head.c_str(), nullptr, 10));
  std::string child = std::to_string(static_cast<int>(number + 1)) + parent.substr(underscore);
  if (childSuffix != nullptr) {
    child += std::string("_") + childSuffix;
  }
  return child;
}

}  // namespace brix::velmo
