#include "TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
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

void writeFile(const fs::path& path, const std::string& contents) {
  std::ofstream file(path, std::ios::binary);
  file << contents;
  file.close();
  EXPECT_TRUE(file) << "cannot write " << path;
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << "cannot read " << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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
