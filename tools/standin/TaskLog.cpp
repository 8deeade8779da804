#include "TaskLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "Report.h"
#include "SystemError.h"

namespace velmo::standin {

namespace {

constexpr mode_t kPrivateFile = 0600;

// A longer line is shown as several lines.
constexpr std::size_t kLongestLine = 65536;

// Shows the complete lines, and removes from the text what it has shown.
void showCompleteLines(std::string& text) {
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    reportOutput(std::string_view(text).substr(begin, end - begin));
  }
  text.erase(0, begin);
  if (text.size() >= kLongestLine) {
    reportOutput(text);
    text.clear();
  }
}

}  // namespace

TaskLog::TaskLog(const std::filesystem::path& path)
    : m_file(
          open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kPrivateFile)) {
  if (!m_file.isOpen() || fchmod(m_file.get(), kPrivateFile) != 0) {
    throw tools::systemError("cannot write its log");
  }
}

int TaskLog::descriptor() const {
  return m_file.get();
}

bool TaskLog::isEmpty() const {
  return size() == 0;
}

off_t TaskLog::size() const {
  struct stat status {};
  return fstat(m_file.get(), &status) == 0 ? status.st_size : 0;
}

void TaskLog::show() const {
  std::array<char, kLongestLine> buffer{};
  std::string pending;
  // Processes that the task started may still write: what they add from now on is not shown, and
  // pread leaves the position at which they write alone.
  const off_t end = size();
  for (off_t position = 0; position < end;) {
    const auto wanted = std::min<off_t>(end - position, buffer.size());
    const ssize_t count =
        pread(m_file.get(), buffer.data(), static_cast<std::size_t>(wanted), position);
    if (count <= 0) {
      break;
    }
    position += count;
    pending.append(buffer.data(), static_cast<std::size_t>(count));
    showCompleteLines(pending);
  }
  if (!pending.empty()) {
    reportOutput(pending);
  }
}

}  // namespace velmo::standin
