#ifndef VELMO_QUEUEOPTIONS_H
#define VELMO_QUEUEOPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

namespace velmo::cli {

/// The options of velmo queue.
struct QueueOptions {
  bool isJson = false;
  bool isWatch = false;
  bool hasCommands = false;
  std::optional<std::string> job{};
  std::optional<std::string> subJob{};
  std::optional<std::string> type{};
  std::optional<std::int64_t> olderThan{};  ///< seconds
  std::optional<std::int64_t> limit{};
};

}  // namespace velmo::cli

#endif
