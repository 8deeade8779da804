#include "TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace velmo::test {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (fs::temp_directory_path() / "velmo-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("cannot make " + name);
  }
  m_path = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  // A test may have removed permissions. A removal needs only those of directories.
  std::error_code ignored;
  fs::permissions(m_path, fs::perms::owner_all, ignored);
  for (auto entry = fs::recursive_directory_iterator(m_path, ignored);
       entry != fs::recursive_directory_iterator(); entry.increment(ignored)) {
    if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
      fs::permissions(entry->path(), fs::perms::owner_all, ignored);
    }
  }
  fs::remove_all(m_path, ignored);
}

std::string TemporaryDirectory::makeDirectory(const std::string& name) const {
  fs::create_directories(path(name));
  return path(name);
}

void TemporaryDirectory::setMode(const std::string& name, unsigned mode) const {
  fs::permissions(name.empty() ? m_path : m_path / name, static_cast<fs::perms>(mode));
}

std::string TemporaryDirectory::writeFile(const std::string& name,
                                          const std::string& contents) const {
  velmo::test::writeFile(path(name), contents);
  return path(name);
}

namespace {

// A file that tests look at. It makes the system calls itself: programs of tests define open, fopen
// and others, and some C++ libraries call these too.
class DirectFile {
 public:
  DirectFile(const fs::path& path, int flags)
      : m_descriptor(static_cast<int>(
            syscall(SYS_openat, AT_FDCWD, path.c_str(), flags | O_CLOEXEC, kModeOfNewFile))) {}

  DirectFile(const DirectFile&) = delete;
  DirectFile& operator=(const DirectFile&) = delete;

  ~DirectFile() {
    if (m_descriptor >= 0) {
      syscall(SYS_close, m_descriptor);
    }
  }

  // Whether everything was written.
  bool write(std::string_view bytes) const {
    while (!bytes.empty()) {
      const long written = syscall(SYS_write, m_descriptor, bytes.data(), bytes.size());
      if (written <= 0) {
        return false;
      }
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return m_descriptor >= 0;
  }

  // Appends the rest of the file to `bytes`. Whether it could be read.
  bool read(std::string& bytes) const {
    std::array<char, 65536> block{};
    for (;;) {
      const long size = syscall(SYS_read, m_descriptor, block.data(), block.size());
      if (size <= 0) {
        return size == 0;
      }
      bytes.append(block.data(), static_cast<std::size_t>(size));
    }
  }

 private:
  static constexpr unsigned kModeOfNewFile = 0666;

  int m_descriptor;
};

}  // namespace

void writeFile(const fs::path& path, const std::string& contents) {
  EXPECT_TRUE(DirectFile(path, O_WRONLY | O_CREAT | O_TRUNC).write(contents))
      << "cannot write " << path;
}

std::string readFile(const fs::path& path) {
  std::string contents;
  EXPECT_TRUE(DirectFile(path, O_RDONLY).read(contents)) << "cannot read " << path;
  return contents;
}

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool exists(const std::string& path) {
  std::error_code ignored;
  return fs::symlink_status(path, ignored).type() != fs::file_type::not_found;
}

std::string nameOfOpen(int descriptor) {
  return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).filename().string();
}

std::size_t openDescriptors() {
  const fs::directory_iterator descriptors("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

namespace {

constexpr unsigned kNobody = 65534;

}  // namespace

UnprivilegedFiles::UnprivilegedFiles() : m_before(geteuid()) {
  if (m_before == 0) {
    setfsuid(kNobody);
  }
}

UnprivilegedFiles::~UnprivilegedFiles() {
  if (m_before == 0) {
    setfsuid(m_before);
  }
}

}  // namespace velmo::test
