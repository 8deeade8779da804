#include "JobFile.h"

#include <unistd.h>
#include <utime.h>

#include <array>
#include <cstddef>
#include <cstdio>

#include "CancellationGuard.h"
#include "StdioFile.h"

namespace brix::velmo {

namespace {

using imutils::Stream;

constexpr std::size_t kLineSize = 256;

void writeLines(FILE* file, const std::string& id, const std::string& user, const std::string& name,
                int priority) {
  std::fprintf(file, "id=\"%s\"\n", id.c_str());
  if (!user.empty()) {
    std::fprintf(file, "user=\"%s\"\n", user.c_str());
  }
  if (!name.empty()) {
    std::fprintf(file, "name=\"%s\"\n", name.c_str());
  }
  std::fprintf(file, "priority=\"%d\"\n", priority);
}

}  // namespace

// Created exclusively: of several processes, the first one's file stays. A file that was cut short
// is removed, because its identifier could be that of another job.
void createJobFile(const std::string& path, const std::string& id, const std::string& user,
                   const std::string& name, int priority) {
  const imutils::CancellationGuard guard;
  Stream file(std::fopen(path.c_str(), "wx"));
  if (file == nullptr) {
    return;
  }
  writeLines(file.get(), id, user, name, priority);
  const bool isWritten = std::ferror(file.get()) == 0;
  const bool isClosed = std::fclose(file.release()) == 0;
  if (!isWritten || !isClosed) {
    unlink(path.c_str());
  }
}

std::optional<JobFileFields> readJobFile(const std::string& path) {
  const imutils::CancellationGuard guard;
  const Stream file(std::fopen(path.c_str(), "r"));
  if (file == nullptr) {
    return std::nullopt;
  }
  JobFileScanner scanner;
  std::array<char, kLineSize> line{};
  while (std::fgets(line.data(), static_cast<int>(line.size()), file.get()) != nullptr) {
    scanner.scanLine(line.data());
  }
  return scanner.fields();
}

void touchJobFile(const std::string& path) {
  utime(path.c_str(), nullptr);
}

void removeJobFile(const std::string& path) {
  unlink(path.c_str());
}

}  // namespace brix::velmo
