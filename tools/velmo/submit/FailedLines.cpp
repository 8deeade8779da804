#include "FailedLines.h"

#include <sys/stat.h>

#include <string_view>

#include "Failure.h"
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

// The path, once both files have been found unused.
const std::string& checked(const std::string& path, int input) {
  if (isSameFile(path, input)) {
    refuse(path, "is the file that the lines come from");
  }
  struct stat status {};
  if (lstat(inDoubtPathFor(path).c_str(), &status) == 0) {
    refuse(inDoubtPathFor(path),
           "exists already; move it away once you know whether its lines are queued");
  }
  return path;
}

void keep(const InputLine& line, InputLines& lines, LineFile& file) {
  file.append(line.bytes);
  while (const std::optional<std::string_view> piece = lines.piece()) {
    file.append(*piece);
  }
  file.endLine();
}

}  // namespace

FailedLines::FailedLines(const std::string& path, int input) : m_failed(checked(path, input)) {}

FailedLines::~FailedLines() {
  if (m_failed.isEmpty()) {
    m_failed.remove();
  }
}

void FailedLines::keepFailed(const InputLine& line, InputLines& lines) {
  keep(line, lines, m_failed);
}

void FailedLines::keepInDoubt(const InputLine& line, InputLines& lines) {
  if (!m_inDoubt) {
    m_inDoubt.emplace(inDoubtPathFor(m_failed.path()));
  }
  keep(line, lines, *m_inDoubt);
}

void FailedLines::keepRest(InputLines& lines) {
  while (const std::optional<std::string_view> piece = lines.rest()) {
    m_failed.append(*piece);
  }
}

std::string FailedLines::failedPath() const {
  return m_failed.isEmpty() ? "" : m_failed.path();
}

std::string FailedLines::inDoubtPath() const {
  return m_inDoubt ? m_inDoubt->path() : "";
}

}  // namespace velmo::cli
