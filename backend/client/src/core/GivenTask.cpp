#include "GivenTask.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "InputStruct.h"

namespace velmo::client {

namespace {

constexpr std::size_t kLongestIdentifier = VELMO_NAME_SIZE - 1;

Outcome checkLine(const char* name, std::string_view text) {
  if (text.find('\n') != std::string_view::npos) {
    return Fault{Problem::ArgumentHasLineFeed, name};
  }
  return std::nullopt;
}

Outcome checkRequired(const char* name, std::string_view text) {
  if (text.empty()) {
    return Fault{Problem::ArgumentMissing, name};
  }
  return checkLine(name, text);
}

// What a lead byte begins: the number of continuation bytes, the bits of the code point so far, and
// the least code point that needs so many bytes.
struct Sequence {
  std::size_t continuations;
  char32_t start;
  char32_t least;
};

Sequence sequenceOf(unsigned char lead) {
  constexpr char32_t kBeyondAll = 0xFFFFFFFF;
  if (lead < 0x80) {
    return {0, lead, 0};
  }
  if (lead >= 0xC0 && lead < 0xE0) {
    return {1, lead & 0x1FU, 0x80};
  }
  if (lead >= 0xE0 && lead < 0xF0) {
    return {2, lead & 0x0FU, 0x800};
  }
  if (lead >= 0xF0 && lead < 0xF8) {
    return {3, lead & 0x07U, 0x10000};
  }
  return {0, 0, kBeyondAll};  // not a lead byte
}

}  // namespace

// Looks at all bytes, so that the compiler can look at several at once.
bool isPlainText(std::string_view text) {
  unsigned char isSpecial = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    isSpecial |= byte < 0x20 || byte == 0x7F || byte == '/' ? 1 : 0;
  }
  return isSpecial == 0;
}

Outcome checkIdentifier(const char* name, std::string_view text) {
  if (!isPlainText(text)) {
    const bool hasSlash = text.find('/') != std::string_view::npos;
    return Fault{hasSlash ? Problem::ArgumentHasSlash : Problem::ArgumentHasControl, name,
                 std::string(text)};
  }
  if (text.size() > kLongestIdentifier) {
    return Fault{Problem::ArgumentTooLong, name, std::to_string(text.size())};
  }
  return std::nullopt;
}

namespace {

// A text of a task, and its check.
struct Field {
  const char* name;
  std::string_view GivenTask::*text;
  Outcome (*check)(const char* name, std::string_view text);
};

constexpr std::array<Field, 7> kFields{{
    {"priority_class", &GivenTask::priorityClass, checkRequired},
    {"command", &GivenTask::command, checkRequired},
    {"adjustment", &GivenTask::adjustment, checkLine},
    {"information", &GivenTask::information, checkLine},
    {"type", &GivenTask::type, checkIdentifier},
    {"job", &GivenTask::job, checkIdentifier},
    {"sub_job", &GivenTask::subJob, checkIdentifier},
}};

std::string_view textOr(const char* text, std::string_view fallback) {
  const std::string_view given = textOf(text);
  return given.empty() ? fallback : given;
}

}  // namespace

Result<GivenTask> readTask(const velmo_task* task) {
  if (task == nullptr) {
    return Fault{Problem::ArgumentMissing, "task"};
  }
  if (Outcome failure = checkSize(task, "velmo_task")) {
    return *std::move(failure);
  }
  GivenTask given;
  given.priorityClass = textOf(task->priority_class);
  given.command = textOf(task->command);
  given.type = textOr(task->type, "sh");
  given.adjustment = textOf(task->adjustment);
  given.job = textOf(task->job);
  given.subJob = textOr(task->sub_job, "0");
  given.information = textOf(task->information);
  given.relativePriority = task->relative_priority;
  return given;
}

std::vector<Fault> mistakesIn(const GivenTask& task) {
  std::vector<Fault> mistakes;
  for (const Field& field : kFields) {
    if (Outcome failure = field.check(field.name, task.*field.text)) {
      mistakes.push_back(*std::move(failure));
    }
  }
  return mistakes;
}

Result<GivenTask> takeTask(const velmo_task* task) {
  Result<GivenTask> given = readTask(task);
  if (!given.isOk()) {
    return given;
  }
  for (const Field& field : kFields) {
    if (Outcome failure = field.check(field.name, given.value().*field.text)) {
      return *std::move(failure);
    }
  }
  return given;
}

bool isUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const Sequence sequence = sequenceOf(static_cast<unsigned char>(text[i]));
    if (sequence.continuations >= text.size() - i) {
      return false;
    }
    char32_t point = sequence.start;
    for (std::size_t k = 1; k <= sequence.continuations; ++k) {
      const auto byte = static_cast<unsigned char>(text[i + k]);
      if ((byte & 0xC0U) != 0x80) {
        return false;
      }
      point = (point << 6U) | (byte & 0x3FU);
    }
    const bool isSurrogate = point >= 0xD800 && point < 0xE000;
    if (point < sequence.least || isSurrogate || point > 0x10FFFF) {
      return false;
    }
    i += sequence.continuations + 1;
  }
  return true;
}

}  // namespace velmo::client
