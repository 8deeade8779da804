#include "TaskText.h"

#include <cerrno>
#include <system_error>
#include <utility>
#include <variant>

#include "TaskContents.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kLargest = std::size_t{64} * 1024 * 1024;

// The start of a file, or why it cannot be read.
struct FileStart {
  std::string text{};
  std::string problem{};
};

std::optional<FileStart> readStart(const tools::QueueDirectory& queue, const std::string& name,
                                   std::size_t limit) {
  const std::optional<tools::FileIdentity> identity = queue.identify(name);
  if (identity && !identity->isRegular) {
    return FileStart{{}, "not a regular file"};
  }
  try {
    return FileStart{queue.readStart(name, limit), {}};
  } catch (const std::system_error& failure) {
    if (failure.code().value() == ENOENT) {
      return std::nullopt;
    }
    return FileStart{{}, failure.what()};
  }
}

TaskText parse(const std::string& text) {
  if (text.size() > kLargest) {
    return {{}, {}, "larger than 64 MiB", text.size()};
  }
  std::variant<tools::TaskContents, tools::Malformed> parsed = tools::parseTaskContents(text);
  if (const auto* problem = std::get_if<tools::Malformed>(&parsed)) {
    return {{}, {}, *problem, text.size()};
  }
  auto& contents = std::get<tools::TaskContents>(parsed);
  return {std::move(contents.command), std::move(contents.jobInfo), {}, text.size()};
}

Json orNull(const std::optional<std::string>& text) {
  return text ? Json(*text) : Json();
}

}  // namespace

std::optional<TaskText> readTask(const tools::QueueDirectory& queue, const std::string& name) {
  const std::optional<FileStart> start = readStart(queue, name, kLargest + 1);
  if (!start) {
    return std::nullopt;
  }
  return start->problem.empty() ? parse(start->text) : TaskText{{}, {}, start->problem, 0};
}

std::optional<std::string> firstLineOf(const tools::QueueDirectory& queue, const std::string& name,
                                       std::size_t limit) {
  std::optional<FileStart> start = readStart(queue, name, limit);
  if (!start) {
    return std::nullopt;
  }
  if (!start->problem.empty()) {
    return "(" + start->problem + ")";
  }
  return start->text.empty() ? "(empty)" : start->text.substr(0, start->text.find('\n'));
}

void addText(Json& object, const std::optional<TaskText>& text) {
  const bool isTask = text && text->problem.empty();
  object["command"] = isTask ? Json(text->command) : Json();
  object["information"] = isTask ? orNull(text->information) : Json();
  object["problem"] = isTask ? Json() : Json(text ? text->problem : "not in the queue any more");
}

}  // namespace velmo::cli
