#ifndef VELMO_STANDIN_TESTDIRECTORY_H
#define VELMO_STANDIN_TESTDIRECTORY_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace standin {

/// A directory of a test's own, removed with all it holds when the test ends.
class TestDirectory {
 public:
  TestDirectory() {
    std::string path = std::filesystem::temp_directory_path() / "standin_test.XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), path);
    }
    m_path = path;
  }

  TestDirectory(const TestDirectory&) = delete;
  TestDirectory& operator=(const TestDirectory&) = delete;

  ~TestDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  const std::filesystem::path& path() const {
    return m_path;
  }

 private:
  std::filesystem::path m_path;
};

inline void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace standin

#endif
