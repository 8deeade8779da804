#include "ShellCommand.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <string_view>

#include "Report.h"

namespace standin {

namespace {

// The kernel's limit is 32 pages, of at least 4096 bytes, with the terminating NUL.
constexpr std::size_t kLongestArgument = 131071;

// A command that could not be read must not count as one that did nothing.
constexpr const char* kReadAndRun = "eval \"exec </dev/null; $(/bin/cat || echo exit 126)\"";

FileDescriptor memoryFileWith(std::string_view text) {
  FileDescriptor file(memfd_create("command", MFD_CLOEXEC));
  if (!file.isOpen()) {
    throw systemError("cannot hand the command over");
  }
  while (!text.empty()) {
    const ssize_t count = write(file.get(), text.data(), text.size());
    if (count < 0) {
      throw systemError("cannot hand the command over");
    }
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  lseek(file.get(), 0, SEEK_SET);
  return file;
}

}  // namespace

ShellCommand shellCommand(const std::string& command) {
  if (command.size() <= kLongestArgument) {
    return {{"/bin/sh", "-c", command}, FileDescriptor(-1)};
  }
  return {{"/bin/sh", "-c", kReadAndRun}, memoryFileWith(command)};
}

}  // namespace standin
