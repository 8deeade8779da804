#include "JobStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "FileCalls.h"
#include "GivenTask.h"
#include "JobText.h"
#include "LinePieces.h"
#include "NewFile.h"
#include "SignalBlock.h"

namespace velmo::client {

namespace {

using brix::velmo::JobFileFields;

constexpr mode_t kJobFileMode = 0666;     // as JobManager makes them
constexpr time_t kUnfinishedSeconds = 2;  // no process takes longer to write four lines
constexpr int kUnfinishedMs = 2000;
constexpr std::int64_t kPauseNs = 10'000'000;
constexpr int kAttempts = 20;

bool isDotName(const std::string& key) {
  return key == "." || key == "..";
}

// A file whose time is in the future is not waited for either.
bool isYoung(const struct stat& status) {
  return std::abs(time(nullptr) - status.st_mtime) < kUnfinishedSeconds;
}

// A name beside the job files, for one thread. What a process of the same number left behind has
// another attempt's name.
std::string temporaryName(int attempt) {
  return ".velmo_" + std::to_string(getpid()) + "_" + std::to_string(gettid()) + "_" +
         std::to_string(attempt);
}

}  // namespace

// What is at the path of the job file.
struct JobStore::Look {
  enum class State { Missing, Unfinished, Complete, Failed };
  State state;
  JobFileFields fields = {};
  std::optional<Fault> fault = {};
};

JobStore::JobStore(std::string directory, std::string key)
    : m_directory(std::move(directory)), m_key(std::move(key)), m_path(m_directory + "/" + m_key) {}

Outcome JobStore::check() const {
  if (m_directory.empty()) {
    return Fault{Problem::ArgumentMissing, "directory"};
  }
  if (m_directory[0] != '/') {
    return Fault{Problem::ArgumentNotAbsolute, "directory", m_directory};
  }
  if (m_key.empty()) {
    return Fault{Problem::ArgumentMissing, "key"};
  }
  if (isDotName(m_key)) {
    return Fault{Problem::ArgumentIsDotName, "key", m_key};
  }
  return checkIdentifier("key", m_key);
}

JobStore::Look JobStore::look() const {
  const Opened file = openRegularFile(m_path);
  if (!file.descriptor.isOpen()) {
    if (file.error == ENOENT) {
      return {Look::State::Missing};
    }
    return {Look::State::Failed,
            {},
            file.error == 0 ? Fault{Problem::FileNotRegular, m_path}
                            : Fault{Problem::JobFileNotRead, m_path, {}, file.error}};
  }
  brix::velmo::JobFileScanner scanner;
  LinePieces lines(file.descriptor, kJobFilePieceSize);
  while (const char* line = lines.next()) {
    scanner.scanLine(line);
  }
  if (lines.error() != 0) {
    return {Look::State::Failed, {}, Fault{Problem::JobFileNotRead, m_path, {}, lines.error()}};
  }
  const JobFileFields& fields = scanner.fields();
  if (checkIdentifier("id", fields.id)) {
    return {Look::State::Failed, {}, Fault{Problem::JobFileIdUnusable, m_path, fields.id}};
  }
  if (!fields.id.empty()) {
    return {Look::State::Complete, fields};
  }
  struct stat status {};
  if (fstat(file.descriptor.get(), &status) == 0 && isYoung(status)) {
    return {Look::State::Unfinished};
  }
  return {Look::State::Failed, {}, Fault{Problem::JobFileWithoutId, m_path}};
}

Outcome JobStore::waitForWriter(const Wait& wait) const {
  if (wait.isStopped()) {
    return Fault{Problem::Stopped, "another process to finish \"" + m_path + "\""};
  }
  if (wait.isOver()) {
    return Fault{Problem::JobFileTimedOut, m_path};
  }
  wait.pause(kPauseNs);
  return std::nullopt;
}

JobStore::Look JobStore::lookWhenFinished(const Wait& wait) const {
  const Wait patience(kUnfinishedMs, nullptr);  // with a file that is changed again and again
  for (;;) {
    Look found = look();
    if (found.state != Look::State::Unfinished) {
      return found;
    }
    if (patience.isOver()) {
      return {Look::State::Failed, {}, Fault{Problem::JobFileWithoutId, m_path}};
    }
    if (Outcome outcome = waitForWriter(wait)) {
      return {Look::State::Failed, {}, std::move(outcome)};
    }
  }
}

Fault JobStore::notWritten(const std::string& path, int error) const {
  const bool isMissing = error == ENOENT || error == ENOTDIR;
  return isMissing ? Fault{Problem::DirectoryMissing, "the job files", m_directory, error}
                   : Fault{Problem::JobFileNotWritten, path, {}, error};
}

// Before a number is taken for nothing.
Outcome JobStore::checkDirectory() const {
  if (faccessat(AT_FDCWD, m_directory.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    return notWritten(m_path, errno);
  }
  return std::nullopt;
}

// Signals are blocked: one that ended the process would leave the file behind that is written
// aside.
Outcome JobStore::create(const JobFileFields& job, bool isDurable, bool& isFirst) const {
  const SignalBlock signals;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    // Removed at the end of the round, also when it has been linked.
    NewFile file(m_directory + "/" + temporaryName(attempt));
    int error = file.create(kJobFileMode);
    if (error == EEXIST) {
      continue;
    }
    error = error != 0 ? error : file.write(jobFileText(job), isDurable);
    error = error != 0 ? error : file.close();
    if (error != 0) {
      return notWritten(file.path(), error);
    }
    isFirst = link(file.path().c_str(), m_path.c_str()) == 0;
    if (!isFirst) {
      return errno == EEXIST ? std::nullopt : Outcome(notWritten(m_path, errno));
    }
    const Opened directory = isDurable ? openDirectory(m_directory) : Opened();
    error =
        isDurable && directory.error == 0 ? syncFile(directory.descriptor.get()) : directory.error;
    return error == 0 ? std::nullopt
                      : Outcome(Fault{Problem::JobFileNotSynced, m_directory, {}, error});
  }
  return notWritten(m_directory + "/" + temporaryName(kAttempts - 1), EEXIST);
}

Result<FoundJob> JobStore::find(const JobFileFields& wanted, bool isDurable, const Wait& wait,
                                const DrawJob& draw) const {
  std::optional<JobFileFields> made;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    Look found = lookWhenFinished(wait);
    if (found.state == Look::State::Failed) {
      return std::move(*found.fault);
    }
    if (found.state == Look::State::Complete) {
      // The time of its last use. Only the owner of the file can set it, and JobManager ignores a
      // failure too.
      static_cast<void>(utimensat(AT_FDCWD, m_path.c_str(), nullptr, 0));
      return FoundJob{std::move(found.fields), false};
    }
    if (!made) {
      if (Outcome outcome = checkDirectory()) {
        return std::move(*outcome);
      }
      Result<std::string> id = draw();
      if (!id.isOk()) {
        return std::move(id.fault());
      }
      made = wanted;
      made->id = std::move(id.value());
    }
    bool isFirst = false;
    if (Outcome outcome = create(*made, isDurable, isFirst)) {
      return std::move(*outcome);
    }
    if (isFirst) {
      return FoundJob{std::move(*made), true};
    }
    // Another process was first, or removes the file again and again.
  }
  return notWritten(m_path, EEXIST);
}

}  // namespace velmo::client
