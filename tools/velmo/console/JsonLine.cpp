#include "JsonLine.h"

#include <array>
#include <cstddef>

#include "LocalTime.h"

namespace velmo::cli {

std::string jsonLine(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json fieldsOf(const std::string& name, const TaskName& parts) {
  return {{"name", name},
          {"priority", parts.priority},
          {"created", withSeparators(parts.created, 'T')},
          {"job", parts.job},
          {"sub_job", parts.subJob},
          {"task", parts.task},
          {"relative_priority", parts.relativePriority},
          {"type", parts.type}};
}

std::string wordOf(Status status) {
  constexpr std::array<const char*, 14> kWords{
      "ok",      "invalid_argument", "not_configured", "not_running",     "timed_out",
      "stopped", "system_error",     "out_of_memory",  "unreachable",     "connection_lost",
      "refused", "in_doubt",         "not_found",      "unexpected_reply"};
  const auto number = static_cast<std::size_t>(status);
  return number < kWords.size() ? kWords[number] : std::to_string(static_cast<int>(status));
}

}  // namespace velmo::cli
