#include "JobFileScanner.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "ScanInt.h"

namespace brix::velmo {

namespace {

constexpr std::size_t kCaptureLength = 255;
constexpr std::string_view kAdmitted =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
    " ]_.,@$%#&*()[{}|/\\^;:-";

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

}  // namespace

std::string_view captureQuoted(std::string_view text) {
  if (!startsWith(text, "\"")) {
    return {};
  }
  const std::string_view value = text.substr(1);
  return value.substr(0, std::min(value.find_first_not_of(kAdmitted), kCaptureLength));
}

void JobFileScanner::scanLine(const char* line) {
  constexpr std::string_view kId = "id=";
  constexpr std::string_view kName = "name=";
  constexpr std::string_view kUser = "user=";
  constexpr std::string_view kPriority = "priority=";

  const std::string_view text = line;
  if (startsWith(text, kId)) {
    scanText(text.substr(kId.size()), m_fields.id);
  } else if (startsWith(text, kName)) {
    scanText(text.substr(kName.size()), m_fields.name);
  } else if (startsWith(text, kUser)) {
    scanText(text.substr(kUser.size()), m_fields.user);
  } else if (startsWith(text, kPriority)) {
    scanPriority(line + kPriority.size());
  }
}

// Deliberate: a field without a value takes the last one captured in this file, of any key. All
// processes that share a directory have to read the same job from a file.
void JobFileScanner::scanText(std::string_view value, std::string& field) {
  const std::string_view captured = captureQuoted(value);
  if (!captured.empty()) {
    m_capture = captured;
  }
  field = m_capture;
}

void JobFileScanner::scanPriority(const char* value) {
  if (*value == '"') {
    m_fields.priority = imutils::scanInt(value + 1).value_or(m_fields.priority);
  }
}

}  // namespace brix::velmo
