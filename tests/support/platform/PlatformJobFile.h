#ifndef VELMO_TEST_PLATFORMJOBFILE_H
#define VELMO_TEST_PLATFORMJOBFILE_H

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

namespace velmo::test {

/// The fields of a job file as the platform's scanf reads them into one character buffer.
class PlatformJobFile {
 public:
  PlatformJobFile() = default;

  /// Reads a whole file by lines; longer lines in pieces of at most 255 characters.
  explicit PlatformJobFile(const std::string& contents) {
    for (std::size_t start = 0; start < contents.size();) {
      const std::size_t lineEnd = contents.find('\n', start);
      const std::size_t length = lineEnd == std::string::npos ? 255 : lineEnd + 1 - start;
      const std::string piece = contents.substr(start, std::min<std::size_t>(length, 255));
      scanLine(piece.c_str());
      start += piece.size();
    }
  }

  void scanLine(const char* line) {
    if (std::strncmp(line, "id=", 3) == 0) {
      std::sscanf(line, "id=\"%255[]a-zA-Z0-9 _.,@$%#&*()[{}|/\\^;:-]\"", m_buffer.data());
      id = m_buffer.data();
    } else if (std::strncmp(line, "name=", 5) == 0) {
      std::sscanf(line, "name=\"%255[]a-zA-Z0-9 _.,@$%#&*()[{}|/\\^;:-]\"", m_buffer.data());
      name = m_buffer.data();
    } else if (std::strncmp(line, "user=", 5) == 0) {
      std::sscanf(line, "user=\"%255[]a-zA-Z0-9 _.,@$%#&*()[{}|/\\^;:-]\"", m_buffer.data());
      user = m_buffer.data();
    } else if (std::strncmp(line, "priority=", 9) == 0) {
      std::sscanf(line, "priority=\"%d\"", &priority);
    }
  }

  std::string id;
  std::string user;
  std::string name;
  int priority = 0;

 private:
  std::array<char, 256> m_buffer{};
};

}  // namespace velmo::test

#endif
