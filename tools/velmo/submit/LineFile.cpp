#include "LineFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "Failure.h"
#include "OneLine.h"
#include "SystemError.h"

namespace velmo::cli {

namespace {

constexpr mode_t kPrivate = 0600;

std::string quoted(const std::string& path) {
  return "\"" + tools::oneLine(path) + "\"";
}

[[noreturn]] void fail(const char* what, const std::string& path) {
  throw Failure(Status::systemError, tools::systemError(what + quoted(path)).what());
}

// Something that has no contents to lose.
bool isStream(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && (S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode));
}

int openNew(const std::string& path) {
  const int file =
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC | O_NOCTTY, kPrivate);
  if (file >= 0 || errno != EEXIST) {
    return file;
  }
  if (isStream(path)) {
    return open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
  }
  throw Failure(Status::invalidArgument,
                quoted(path) + " exists already; move it away, or name another file");
}

int create(const std::string& path) {
  const int file = openNew(path);
  if (file < 0) {
    fail("cannot create ", path);
  }
  return file;
}

bool isRegular(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

LineFile::LineFile(const std::string& path)
    : m_path(path), m_file(create(path)), m_isRegular(isRegular(m_file.get())) {}

void LineFile::append(std::string_view bytes) {
  if (tools::writeWhole(m_file.get(), bytes)) {
    m_size += static_cast<off_t>(bytes.size());
    return;
  }
  const int error = errno;
  if (m_isRegular && ftruncate(m_file.get(), m_wholeLines) == 0) {
    m_size = m_wholeLines;
  }
  errno = error;
  fail("cannot write ", m_path);
}

void LineFile::remove() {
  if (m_isRegular) {
    unlink(m_path.c_str());
  }
}

}  // namespace velmo::cli
