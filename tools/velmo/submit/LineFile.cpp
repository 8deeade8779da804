#include "LineFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include "Failure.h"
#include "OneLine.h"
#include "SystemError.h"

namespace velmo::cli {

namespace {

constexpr mode_t kPrivate = 0600;

// Holds all signals. Otherwise a second Ctrl-C could end a write between two pages.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t all{};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_former);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() {
    pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
  }

 private:
  sigset_t m_former{};
};

std::string quoted(const std::string& path) {
  return "\"" + tools::oneLine(path) + "\"";
}

[[noreturn]] void fail(const char* what, const std::string& path) {
  throw Failure(Status::systemError, tools::systemError(what + quoted(path)).what());
}

[[noreturn]] void refuse(const std::string& path, const char* why) {
  throw Failure(Status::invalidArgument, quoted(path) + why);
}

// Something that has no contents to lose.
bool isStream(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && (S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode));
}

int create(const std::string& path) {
  const int file =
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC | O_NOCTTY, kPrivate);
  if (file >= 0) {
    flock(file, LOCK_EX | LOCK_NB);  // for removeLeftover() of another run
    return file;
  }
  if (errno != EEXIST) {
    fail("cannot create ", path);
  }
  if (isStream(path)) {
    refuse(path, " is a device or a pipe; name a new file");
  }
  refuse(path, " exists already; move it away, or name another file");
}

off_t sizeOf(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 ? status.st_size : 0;
}

}  // namespace

LineFile::LineFile(const std::string& path) : m_path(path), m_file(create(path)) {}

LineFile::~LineFile() {
  dropUnfinishedLine();
  if (isEmpty()) {
    unlink(m_path.c_str());
  }
}

void LineFile::append(std::string_view bytes) {
  const HeldSignals held;
  if (tools::writeWhole(m_file.get(), bytes)) {
    noteWritten(bytes);
    return;
  }
  const int error = errno;
  m_isBroken = true;
  const off_t written = std::max<off_t>(sizeOf(m_file.get()) - m_size, 0);
  noteWritten(bytes.substr(0, static_cast<std::size_t>(written)));
  dropUnfinishedLine();
  errno = error;
  fail("cannot write ", m_path);
}

void LineFile::noteWritten(std::string_view bytes) {
  const std::size_t lineFeed = bytes.rfind('\n');
  if (lineFeed != std::string_view::npos) {
    m_wholeLines = m_size + static_cast<off_t>(lineFeed) + 1;
    m_lines += static_cast<std::uint64_t>(std::count(bytes.begin(), bytes.end(), '\n'));
  }
  m_size += static_cast<off_t>(bytes.size());
}

void LineFile::dropUnfinishedLine() {
  if (m_size > m_wholeLines && ftruncate(m_file.get(), m_wholeLines) == 0) {
    m_size = m_wholeLines;
  }
}

}  // namespace velmo::cli
