#include "JobNumber.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>
#include <system_error>

#include "DecimalText.h"
#include "FileCalls.h"
#include "JobLock.h"
#include "Joined.h"
#include "NewFile.h"
#include "Numbering.h"
#include "WhiteSpace.h"

namespace velmo::client {

namespace {

using brix::imutils::DecimalText;
using brix::imutils::joined;

constexpr mode_t kCounterMode = 0666;

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && brix::imutils::isWhiteSpace(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && brix::imutils::isWhiteSpace(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

std::optional<int> parseNumber(std::string_view text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  const bool isNumber = error == std::errc() && stop == end && text.front() != '-';
  return isNumber ? std::optional<int>(number) : std::nullopt;
}

// The counter file of a machine; the caller holds its lock.
class CounterFile {
 public:
  explicit CounterFile(const std::string& dataDirectory)
      : m_path(joined({dataDirectory, "/velmo/jobid"})) {}

  /// The last number issued; nothing if the file is missing.
  Result<std::optional<int>> read() const;

  /// Makes `number` the last one, unless the lock is lost.
  Outcome save(int number, bool isDurable, const JobLock& lock) const;

 private:
  std::string directoryPath() const {
    return m_path.substr(0, m_path.rfind('/'));
  }

  Outcome notSynced(int error) const;
  Outcome moveIntoPlace(NewFile& copy) const;

  std::string m_path;
};

Outcome notWritten(const NewFile& copy, int error) {
  return error != 0 ? Outcome(Fault{Problem::JobCounterNotWritten, copy.path(), {}, error})
                    : std::nullopt;
}

// The copy of a process that died may be there, and anything else. A link is not followed.
Outcome removeLeftover(const NewFile& copy) {
  return notWritten(copy, unlink(copy.path().c_str()) == 0 || errno == ENOENT ? 0 : errno);
}

Outcome CounterFile::notSynced(int error) const {
  return error != 0 ? Outcome(Fault{Problem::JobCounterNotSynced, directoryPath(), {}, error})
                    : std::nullopt;
}

Result<std::optional<int>> CounterFile::read() const {
  const FileStart start = readStart(m_path);
  if (start.error == ENOENT) {
    return std::optional<int>();
  }
  if (start.error != 0) {
    return Fault{Problem::JobCounterUnreadable, m_path, {}, start.error};
  }
  const std::optional<int> number = parseNumber(trimmed(start.text()));
  if (!number || start.isCut()) {
    return Fault{Problem::JobCounterNotANumber, m_path};
  }
  return number;
}

Outcome CounterFile::save(int number, bool isDurable, const JobLock& lock) const {
  NewFile copy(joined({m_path, "_tmp"}));
  if (Outcome failure = removeLeftover(copy)) {
    return failure;
  }
  if (Outcome failure = notWritten(copy, copy.create(kCounterMode))) {
    return failure;
  }
  const Opened directory = isDurable ? openDirectory(directoryPath()) : Opened();
  if (Outcome failure = notSynced(directory.error)) {
    return failure;
  }
  if (Outcome failure = notWritten(copy, copy.write(DecimalText(number), isDurable))) {
    return failure;
  }
  // As late as possible, but while the copy is open: only then is it certain whose copy it is.
  if (Outcome failure = lock.check()) {
    return failure;
  }
  if (Outcome failure = notWritten(copy, copy.close())) {
    return failure;
  }
  if (Outcome failure = moveIntoPlace(copy)) {
    return failure;
  }
  return isDurable ? notSynced(syncFile(directory.descriptor.get())) : std::nullopt;
}

Outcome CounterFile::moveIntoPlace(NewFile& copy) const {
  if (rename(copy.path().c_str(), m_path.c_str()) != 0) {
    const int error = errno;
    return Fault{Problem::JobCounterNotMoved, m_path, {}, error};
  }
  copy.keep();
  return std::nullopt;
}

// Advances the counter.
Result<int> advance(const CounterFile& file, bool isDurable, const JobLock& lock) {
  const Result<std::optional<int>> last = file.read();
  if (!last.isOk()) {
    return last.fault();
  }
  const int number = last.value() ? brix::velmo::followingJobNumber(*last.value()) : 0;
  if (Outcome failure = file.save(number, isDurable, lock)) {
    return *std::move(failure);
  }
  return number;
}

}  // namespace

Result<int> drawJobNumber(const std::string& dataDirectory, const std::string& lockDirectory,
                          bool isDurable, const Wait& wait) {
  const CounterFile file(dataDirectory);
  JobLock lock(lockDirectory);
  if (Outcome failure = lock.take(wait)) {
    return *std::move(failure);
  }
  Result<int> number = advance(file, isDurable, lock);
  Outcome failure = lock.release();
  if (failure && number.isOk()) {
    return *std::move(failure);
  }
  return number;
}

Result<std::optional<int>> readJobCounter(const std::string& dataDirectory) {
  return CounterFile(dataDirectory).read();
}

}  // namespace velmo::client
