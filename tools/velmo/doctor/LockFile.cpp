#include "LockFile.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "Failure.h"
#include "FileCalls.h"
#include "FileRemedies.h"
#include "Holder.h"
#include "OneLine.h"
#include "SystemError.h"

namespace velmo::cli {

namespace {

// The file systems that only one machine uses: ext2 to ext4, XFS, Btrfs, tmpfs, overlay, F2FS, ZFS,
// JFS, ReiserFS, bcachefs, ramfs. Deliberate: file systems not listed here count as
// shared.
constexpr std::array<unsigned long, 11> kLocalFileSystems{
    0xEF53,     0x58465342, 0x9123683E, 0x01021994, 0x794C7630, 0xF2F52010,
    0x2FC12FC1, 0x3153464A, 0x52654973, 0xCA451A4E, 0x858458F6};

std::string quoted(const std::string& path) {
  return "\"" + tools::oneLine(path) + "\"";
}

[[noreturn]] void fail(const std::string& what) {
  throw Failure(Status::systemError, tools::systemError(what).what());
}

}  // namespace

LockFile::LockFile(std::string path) : m_path(std::move(path)) {
  if (lstat(m_path.c_str(), &m_status) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) {
      return;
    }
    fail("cannot look at " + name());
  }
  m_isThere = true;
  if (!S_ISREG(m_status.st_mode)) {
    return;
  }
  client::Opened file = client::openFile(m_path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (file.error != 0 || fstat(file.descriptor.get(), &m_status) != 0) {
    errno = file.error != 0 ? file.error : errno;
    fail("cannot read " + name());
  }
  std::array<char, 64> bytes{};
  const ssize_t size = read(file.descriptor.get(), bytes.data(), bytes.size());
  if (size < 0) {
    fail("cannot read " + name());
  }
  m_contents.assign(bytes.data(), static_cast<std::size_t>(size));
  m_descriptor = std::move(file.descriptor);
}

std::string LockFile::name() const {
  return "the lock file " + quoted(m_path);
}

bool LockFile::isLocal() const {
  struct statfs system {};
  if (fstatfs(m_descriptor.get(), &system) != 0) {
    return false;
  }
  const auto type = static_cast<unsigned long>(system.f_type) & 0xFFFFFFFFUL;
  return std::find(kLocalFileSystems.begin(), kLocalFileSystems.end(), type) !=
         kLocalFileSystems.end();
}

LockVerdict LockFile::verdict(const Processes& processes) const {
  LockFacts facts;
  facts.isRegular = S_ISREG(m_status.st_mode);
  facts.isLocal = facts.isRegular && isLocal();
  // A container sees only its own processes, and cannot know who else uses its files.
  facts.isAllVisible = processes.isComplete() && processes.isWholeMachine();
  facts.contents = m_contents;
  facts.modified = m_status.st_mtime;
  const pid_t maker = client::processIdIn(m_contents);
  facts.isMakerRunning = maker != 0 && (kill(maker, 0) == 0 || errno != ESRCH);
  return judge(facts, processes.all());
}

bool LockFile::isSame(const std::string& path) const {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && status.st_dev == m_status.st_dev &&
         status.st_ino == m_status.st_ino;
}

void LockFile::remove() const {
  if (!isSame(m_path)) {
    throw Failure(Status::timedOut, name() + " has been replaced meanwhile: nothing was deleted");
  }
  takeAway();
}

void LockFile::takeAway() const {
  const std::string aside = freshName(m_path, ".broken" + std::to_string(getpid()) + "-");
  if (renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) != 0) {
    fail("cannot rename " + name());
  }
  if (isSame(aside)) {
    if (unlink(aside.c_str()) != 0) {
      fail("cannot delete " + quoted(aside) + ", which was the lock file");
    }
    return;
  }
  if (renameat2(AT_FDCWD, aside.c_str(), AT_FDCWD, m_path.c_str(), RENAME_NOREPLACE) != 0) {
    fail("another program has replaced the lock file, and its new one, now " + quoted(aside) +
         ", cannot be put back to " + quoted(m_path));
  }
  throw Failure(Status::timedOut, "another program has replaced " + name() + ": it was put back");
}

}  // namespace velmo::cli
