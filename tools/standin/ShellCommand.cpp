#include "ShellCommand.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <string_view>

#include "SystemError.h"

namespace velmo::standin {

namespace {

// The kernel's limit is 32 pages of at least 4096 bytes, the terminating NUL included.
constexpr std::size_t kLongestArgument = 131071;

// If the command cannot be read, the task must not succeed as an empty command would.
constexpr const char* kReadAndRun = "eval \"exec </dev/null; $(/bin/cat || echo exit 126)\"";

tools::FileDescriptor memoryFileWith(std::string_view text) {
  tools::FileDescriptor file(memfd_create("command", MFD_CLOEXEC));
  if (!file.isOpen() || !tools::writeWhole(file.get(), text)) {
    throw tools::systemError("cannot hand the command over");
  }
  lseek(file.get(), 0, SEEK_SET);
  return file;
}

}  // namespace

ShellCommand shellCommand(const std::string& command) {
  if (command.size() <= kLongestArgument) {
    return {{"/bin/sh", "-c", command}, tools::FileDescriptor(-1)};
  }
  return {{"/bin/sh", "-c", kReadAndRun}, memoryFileWith(command)};
}

}  // namespace velmo::standin
