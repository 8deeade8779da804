#include "Fault.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "CloseFrame.h"

namespace velmo::standin {

namespace {

constexpr std::string_view kClosePrefix = "close-";
constexpr const char* kCloseName = "close-CODE";

struct Row {
  const char* name;
  FaultKind kind;
  FaultPlace place;
  const char* task;
  const char* summary;
};

constexpr const char* kQueued = "queued";
constexpr const char* kNotQueued = "not queued";
constexpr const char* kByFile = "-";  // there are no requests

constexpr std::array<Row, 12> kRows{{
    {"silent", FaultKind::kSilent, FaultPlace::kRequest, kQueued, "never replies"},
    {"drip", FaultKind::kDrip, FaultPlace::kRequest, kQueued,
     "sends the reply one byte every 50 ms"},
    {"reset-after-request", FaultKind::kResetAfterRequest, FaultPlace::kRequest, kQueued,
     "resets the connection instead of a reply"},
    {"reset-after-reply", FaultKind::kResetAfterReply, FaultPlace::kRequest, kQueued,
     "replies, then resets the connection"},
    {"wrong-reply", FaultKind::kWrongReply, FaultPlace::kRequest, kQueued,
     "sends the request back instead of a reply"},
    {"too-large", FaultKind::kTooLarge, FaultPlace::kRequest, kQueued,
     "sends a reply of more than 1 MiB"},
    {"ping-first", FaultKind::kPingFirst, FaultPlace::kRequest, kQueued,
     "sends a ping, then the reply"},
    {"masked", FaultKind::kMasked, FaultPlace::kRequest, kQueued,
     "masks the reply, as only a client may"},
    {kCloseName, FaultKind::kClose, FaultPlace::kRequest, kNotQueued,
     "sends a close frame with CODE instead of a reply"},
    {"http-503", FaultKind::kHttp503, FaultPlace::kHandshake, kNotQueued,
     "answers the handshake with the HTTP status 503"},
    {"not-running", FaultKind::kNotRunning, FaultPlace::kInstallation, kByFile,
     "has no task counter and no semaphore, and runs no task"},
    {"stale-lock", FaultKind::kStaleLock, FaultPlace::kInstallation, kByFile,
     "has a lock file of the job counter whose maker has ended"},
}};

Fault faultOf(const Row& row, const std::string& name) {
  return {row.kind, row.place, name, {}};
}

const Row* rowOf(std::string_view name) {
  const auto* row = std::find_if(kRows.begin(), kRows.end(),
                                 [name](const Row& candidate) { return name == candidate.name; });
  return row != kRows.end() ? row : nullptr;
}

// @return 0 if the text is not a number of four digits
int codeFrom(std::string_view text) {
  int number = 0;
  const char* end = text.data() + text.size();
  const bool isNumber = text.size() == 4 && std::from_chars(text.data(), end, number).ptr == end;
  return isNumber ? number : 0;
}

std::variant<Fault, std::string> parseClose(const std::string& name) {
  const int code = codeFrom(std::string_view(name).substr(kClosePrefix.size()));
  if (!isCloseCode(code)) {
    return "'" + name +
           "': a close frame has a code from 1000 to 1003, 1007 to 1014 or 3000 to 4999";
  }
  Fault fault = faultOf(*rowOf(kCloseName), name);
  fault.closeCode = static_cast<CloseCode>(code);
  return fault;
}

}  // namespace

std::variant<Fault, std::string> parseFault(const std::string& name) {
  if (name.compare(0, kClosePrefix.size(), kClosePrefix) == 0) {
    return parseClose(name);
  }
  const Row* row = rowOf(name);
  if (row == nullptr) {
    const std::string problem =
        name.empty() ? "a kind is missing" : "'" + name + "' is not a kind of fault";
    return problem + "; --fault help lists them";
  }
  return faultOf(*row, name);
}

std::string labelOf(const Fault& fault) {
  return "--fault " + fault.name;
}

std::string faultList() {
  std::string text = fmt::format("{:20} {:11} {}\n", "KIND", "task", "velmo-standin");
  for (const Row& row : kRows) {
    text += fmt::format("{:20} {:11} {}\n", row.name, row.task, row.summary);
  }
  return text;
}

}  // namespace velmo::standin
