#ifndef VELMO_TEST_TEMPORARYDIRECTORY_H
#define VELMO_TEST_TEMPORARYDIRECTORY_H

#include <filesystem>
#include <string>
#include <vector>

namespace velmo::test {

/// A fresh directory that goes, with all that is in it, when the object does.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const {
    return m_path;
  }

  /// The path of something in it: `path("a/b")`.
  std::string path(const std::string& name) const {
    return m_path / name;
  }

  /// Makes a subdirectory, its parents included, and returns its path.
  std::string makeDirectory(const std::string& name) const;

  /// Writes a file and returns its path.
  std::string writeFile(const std::string& name, const std::string& contents) const;

 private:
  std::filesystem::path m_path;
};

/// Writes a file; fails the test when that does not work.
void writeFile(const std::filesystem::path& path, const std::string& contents);

/// The whole contents of a file; fails the test when it cannot be read.
std::string readFile(const std::filesystem::path& path);

/// The names in a directory, sorted.
std::vector<std::string> namesIn(const std::string& directory);

bool exists(const std::string& path);

/// How many descriptors this process has open.
std::size_t openDescriptors();

/// Takes the superuser's power over files from this thread until it goes, so that permissions
/// count. Without that power in the first place it does nothing.
class UnprivilegedFiles {
 public:
  UnprivilegedFiles();
  ~UnprivilegedFiles();
  UnprivilegedFiles(const UnprivilegedFiles&) = delete;
  UnprivilegedFiles& operator=(const UnprivilegedFiles&) = delete;

 private:
  unsigned m_before;
};

}  // namespace velmo::test

#endif
