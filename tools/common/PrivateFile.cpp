#include "PrivateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "FileDescriptor.h"
#include "SystemError.h"

namespace velmo::tools {

namespace {

constexpr mode_t kPrivate = 0600;

}  // namespace

bool createPrivateFile(const std::filesystem::path& path, std::string_view text) {
  const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kPrivate));
  if (!file.isOpen()) {
    if (errno == EEXIST) {
      return false;
    }
    throw systemError("cannot make the file " + path.string());
  }
  // The umask may have taken bits from the mode given to open.
  if (fchmod(file.get(), kPrivate) != 0 || !writeWhole(file.get(), text)) {
    const std::system_error failure = systemError("cannot write " + path.string());
    unlink(path.c_str());  // a later run would keep a truncated file
    throw failure;
  }
  return true;
}

}  // namespace velmo::tools
