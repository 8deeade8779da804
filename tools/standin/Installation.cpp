#include "Installation.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "PrivateFile.h"
#include "Report.h"
#include "SystemError.h"

namespace fs = std::filesystem;

namespace velmo::standin {

using tools::createPrivateFile;
using tools::FileDescriptor;
using tools::systemError;
using tools::Variables;

namespace {

constexpr mode_t kPrivateDirectory = 0700;

constexpr std::string_view kHomePriorities =
    "# Priority classes. The smallest number runs first.\n"
    "Urgent = 50\n"
    "Interactive = 200\n"
    "Normal = 500\n"
    "Batch = 800\n"
    "\n"
    "# Adjustments, added to a class.\n"
    "Sooner = -20\n"
    "Later = 20\n"
    "\n"
    "RELATIVE_PRIORITY_STAT_STUDY = -30\n";

constexpr std::string_view kConfPriorities =
    "# Read after the file of the same name in VELMO_HOME, and replaces its entries.\n"
    "Nightly = 900\n";

constexpr std::string_view kServerId =
    "# Every job identifier begins with it: standin-J0, standin-J1 and so on.\n"
    "SELF_SERVER_ID = standin\n";

// Sets the mode again after mkdir, because the umask may have taken bits from it. The umask is not
// changed: the programs started here inherit it.
void makePrivate(const fs::path& directory) {
  if (chmod(directory.c_str(), kPrivateDirectory) != 0) {
    throw systemError("cannot make " + directory.string() + " private");
  }
}

void ensureDirectory(const fs::path& path) {
  if (mkdir(path.c_str(), kPrivateDirectory) == 0) {
    makePrivate(path);
    return;
  }
  const std::system_error failure = systemError("cannot make the directory " + path.string());
  if (failure.code() != std::errc::file_exists || !fs::is_directory(path)) {
    throw failure;
  }
}

fs::path makeTemporaryDirectory() {
  const char* base = std::getenv("TMPDIR");
  std::string path =
      fs::absolute(base != nullptr && *base != '\0' ? base : "/tmp") / "velmo-standin.XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    throw systemError("cannot make the directory " + path);
  }
  makePrivate(path);
  return path;
}

fs::path makeHome(const fs::path& home) {
  fs::path path = fs::absolute(home).lexically_normal();
  if (!path.has_filename()) {
    path = path.parent_path();  // it ended with a slash
  }
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  if (error) {
    throw std::system_error(error, "cannot make the directory " + path.parent_path().string());
  }
  ensureDirectory(path);
  return fs::canonical(path);
}

// Two processes that serve one queue would run its tasks twice. The kernel releases the lock when
// the process ends. On a file system without such locks the directory is used unlocked.
FileDescriptor lockDirectory(const fs::path& directory) {
  FileDescriptor lock(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lock.isOpen()) {
    throw systemError("cannot open " + directory.string());
  }
  if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    throw std::runtime_error(directory.string() + " is in use by another velmo-standin");
  }
  return lock;
}

}  // namespace

DirectoryRemover::DirectoryRemover(fs::path directory) : m_directory(std::move(directory)) {}

DirectoryRemover::~DirectoryRemover() {
  if (m_directory.empty()) {
    return;
  }
  std::error_code error;
  fs::remove_all(m_directory, error);
  if (error) {
    report(fmt::format("cannot remove {}: {}", m_directory.string(), error.message()));
  }
}

Installation::Installation(const fs::path& home, bool keep)
    : m_directory(home.empty() ? makeTemporaryDirectory() : makeHome(home)),
      m_isKept(keep || !home.empty()),
      m_remover(m_isKept ? fs::path() : m_directory),
      m_lock(lockDirectory(m_directory)) {
  for (const char* name :
       {"conf", "home", "var", "var/taskqueue", "var/log", "tmp", "data", "data/velmo", "lock"}) {
    ensureDirectory(m_directory / name);
  }
  createPrivateFile(m_directory / "home/priorities.cfg", kHomePriorities);
  createPrivateFile(m_directory / "conf/priorities.cfg", kConfPriorities);
  createPrivateFile(m_directory / "conf/serverid.cfg", kServerId);
}

const fs::path& Installation::directory() const {
  return m_directory;
}

bool Installation::isKept() const {
  return m_isKept;
}

fs::path Installation::queueDirectory() const {
  return m_directory / "var/taskqueue";
}

fs::path Installation::modulesFile() const {
  return m_directory / "conf/modules.xml";
}

fs::path Installation::logDirectory() const {
  return m_directory / "var/log";
}

Variables Installation::variables() const {
  return {{"CONF", m_directory / "conf"}, {"VELMO_HOME", m_directory / "home"},
          {"VAR", m_directory / "var"},   {"TMP", m_directory / "tmp"},
          {"DATA", m_directory / "data"}, {"LOCK_VAR", m_directory / "lock"}};
}

}  // namespace velmo::standin
