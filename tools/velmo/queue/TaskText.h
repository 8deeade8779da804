#ifndef VELMO_TASKTEXT_H
#define VELMO_TASKTEXT_H

#include <cstddef>
#include <optional>
#include <string>

#include "JsonLine.h"
#include "QueueDirectory.h"

namespace velmo::cli {

/// How many bytes of UTF-8 a column of a terminal takes at most.
constexpr std::size_t kBytesPerColumn = 4;

/// What the file of a task contains.
struct TaskText {
  std::string command{};
  std::optional<std::string> information{};
  std::string problem{};  ///< why the contents are not those of a task; empty: they are
  std::size_t size = 0;   ///< of the file in bytes, as far as it was read
};

/// Reads the file of a task. Follows no link, waits for no pipe, and reads at most 64 MiB.
/// @return nothing if the queue does not have the file (any more)
std::optional<TaskText> readTask(const tools::QueueDirectory& queue, const std::string& name);

/// The first line of the file of a task, cut after `limit` bytes. In its place the reason, in
/// parentheses, if it cannot be read.
/// @return nothing if the queue does not have the file (any more)
std::optional<std::string> firstLineOf(const tools::QueueDirectory& queue, const std::string& name,
                                       std::size_t limit);

/// Adds the fields "command" and "information", which may be null, and "problem", which is null if
/// the file is that of a task.
/// @param text  nothing: the file is gone
void addText(Json& object, const std::optional<TaskText>& text);

}  // namespace velmo::cli

#endif
