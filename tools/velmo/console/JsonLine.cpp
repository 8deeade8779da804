#include "JsonLine.h"

#include <array>
#include <cstddef>
#include <cstdio>

#include "LocalTime.h"

namespace velmo::cli {

namespace {

// Terminals obey the control characters from U+007F to U+009F, which JSON permits as they are.
std::string withoutControls(const std::string& text) {
  constexpr char kDelete = '\x7f';
  constexpr char kLead = '\xc2';  // of U+0080 to U+00BF in UTF-8
  std::string safe;
  safe.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isControl =
        text[i] == kLead && (static_cast<unsigned char>(text[i + 1]) & 0xe0U) == 0x80U;
    if (!isControl && text[i] != kDelete) {
      safe += text[i];
      continue;
    }
    i += isControl ? 1 : 0;
    std::array<char, 8> code{};
    std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned char>(text[i]));
    safe += code.data();
  }
  return safe;
}

}  // namespace

std::string jsonLine(const Json& object) {
  return withoutControls(object.dump(-1, ' ', false, Json::error_handler_t::replace)) + "\n";
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
