#ifndef VELMO_TEST_TEMPORARYDIRECTORY_H
#define VELMO_TEST_TEMPORARYDIRECTORY_H

#include <filesystem>
#include <string>
#include <vector>

namespace velmo::test {

/// A new directory, removed with its contents when the object is destroyed.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const {
    return m_path;
  }

  /// A path inside it: `path("a/b")`.
  std::string path(const std::string& name) const {
    return m_path / name;
  }

  /// Creates a subdirectory and its parents; returns its path.
  std::string makeDirectory(const std::string& name) const;

  /// Sets the permissions of something in it; of itself without a name.
  void setMode(const std::string& name, unsigned mode) const;

  /// Writes a file and returns its path.
  std::string writeFile(const std::string& name, const std::string& contents) const;

 private:
  std::filesystem::path m_path;
};

/// Writes a file; fails the test if that fails.
void writeFile(const std::filesystem::path& path, const std::string& contents);

/// The whole contents of a file; fails the test if it cannot be read.
std::string readFile(const std::filesystem::path& path);

/// The names in a directory, sorted.
std::vector<std::string> namesIn(const std::string& directory);

bool exists(const std::string& path);

/// The name of the file that a descriptor has open, without its directory.
std::string nameOfOpen(int descriptor);

/// How many descriptors this process has open.
std::size_t openDescriptors();

/// Makes file permissions apply to this thread even if it runs as root, until the object is
/// destroyed. Does nothing for other users.
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
