#include "FailedLines.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string_view>

#include "Failure.h"
#include "FileDescriptor.h"
#include "OneLine.h"

namespace velmo::cli {

namespace {

std::string inDoubtPathFor(const std::string& path) {
  return path + ".in-doubt";
}

bool isSameFile(const std::string& path, int descriptor) {
  struct stat named {};
  struct stat opened {};
  return stat(path.c_str(), &named) == 0 && fstat(descriptor, &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

[[noreturn]] void refuse(const std::string& path, const char* why) {
  throw Failure(Status::invalidArgument, "\"" + tools::oneLine(path) + "\" " + why);
}

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

// Removes an empty file that a run which was killed has left. A run that goes on locks its file.
bool removeLeftover(const std::string& path) {
  const tools::FileDescriptor file(
      open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  return file.isOpen() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
         flock(file.get(), LOCK_EX | LOCK_NB) == 0 && fstat(file.get(), &status) == 0 &&
         status.st_size == 0 && unlink(path.c_str()) == 0;
}

// The path, once both files have been found unused.
const std::string& checked(const std::string& path, int input) {
  if (isSameFile(path, input)) {
    refuse(path, "is the file that the lines come from");
  }
  if (exists(path) && !removeLeftover(path)) {
    return path;  // which is then refused: another run may be using both files
  }
  const std::string inDoubt = inDoubtPathFor(path);
  if (exists(inDoubt) && !removeLeftover(inDoubt)) {
    refuse(inDoubt, "exists already; move it away once you know whether its lines are queued");
  }
  return path;
}

void write(const InputLine& line, InputLines& lines, LineFile& file) {
  file.append(line.bytes);
  while (const std::optional<std::string_view> piece = lines.piece()) {
    file.append(*piece);
  }
  file.endLine();
}

void keep(const InputLine& line, InputLines& lines, LineFile& file) {
  try {
    write(line, lines, file);
  } catch (...) {
    file.dropUnfinishedLine();
    throw;
  }
}

}  // namespace

FailedLines::FailedLines(const std::string& path, int input)
    : m_failed(checked(path, input)), m_inDoubt(inDoubtPathFor(path)) {}

void FailedLines::keepFailed(const InputLine& line, InputLines& lines) {
  keep(line, lines, m_failed);
}

void FailedLines::keepInDoubt(const InputLine& line, InputLines& lines) {
  keep(line, lines, m_inDoubt);
}

bool FailedLines::keepRest(InputLines& lines) {
  try {
    bool hasRest = false;
    while (const std::optional<std::string_view> piece = lines.rest()) {
      m_failed.append(*piece);
      hasRest = true;
    }
    m_failed.endLine();
    return hasRest;
  } catch (...) {
    m_failed.dropUnfinishedLine();
    throw;
  }
}

std::string FailedLines::failedPath() const {
  return m_failed.isEmpty() ? "" : m_failed.path();
}

std::string FailedLines::inDoubtPath() const {
  return m_inDoubt.isEmpty() ? "" : m_inDoubt.path();
}

}  // namespace velmo::cli
