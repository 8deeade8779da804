#include "FileCalls.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <utility>

namespace velmo::client {

namespace {

// Blocks SIGXFSZ while it lives.
class SizeLimitSignal {
 public:
  SizeLimitSignal() {
    sigemptyset(&m_signal);
    sigaddset(&m_signal, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &m_signal, &m_before);
    sigset_t pending{};
    sigpending(&pending);
    m_wasPending = sigismember(&pending, SIGXFSZ) == 1;
  }

  SizeLimitSignal(const SizeLimitSignal&) = delete;
  SizeLimitSignal& operator=(const SizeLimitSignal&) = delete;

  ~SizeLimitSignal() {
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
  }

  // Takes back the signal of a write that has just failed. One that was pending before stays: the
  // new one has merged with it.
  void takeBack() const {
    const timespec atOnce{};
    while (!m_wasPending && sigtimedwait(&m_signal, nullptr, &atOnce) < 0 && errno == EINTR) {
    }
  }

 private:
  sigset_t m_signal{};
  sigset_t m_before{};
  bool m_wasPending = false;
};

// Writes all bytes; returns 0 or errno.
int writeInPieces(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count == 0) {
      return EIO;  // never for a regular file; without this the loop would not end
    }
    if (count < 0 && errno != EINTR) {
      return errno;
    }
    bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  return 0;
}

}  // namespace

Opened openFile(const std::string& path, int flags, mode_t mode) {
  for (;;) {
    Descriptor descriptor(open(path.c_str(), flags | O_CLOEXEC, mode));
    if (descriptor.isOpen()) {
      return {std::move(descriptor), 0};
    }
    if (errno != EINTR) {
      return {Descriptor(), errno};
    }
  }
}

Opened openDirectory(const std::string& path) {
  return openFile(path, O_RDONLY | O_DIRECTORY);
}

FileStart readStart(const std::string& path, int flags) {
  const Opened file = openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | flags);
  FileStart start;
  start.error = file.error;
  while (start.error == 0 && !start.isCut()) {
    const ssize_t count = read(file.descriptor.get(), start.bytes.data() + start.size,
                               start.bytes.size() - start.size);
    if (count == 0) {
      break;
    }
    start.error = count < 0 && errno != EINTR ? errno : 0;
    start.size += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  return start;
}

// The signal is blocked only where it can arrive: most processes have no limit.
int writeAll(int descriptor, std::string_view bytes) {
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY) {
    return writeInPieces(descriptor, bytes);
  }
  const SizeLimitSignal signal;
  const int error = writeInPieces(descriptor, bytes);
  if (error == EFBIG) {
    signal.takeBack();
  }
  return error;
}

int syncFile(int descriptor) {
  while (fsync(descriptor) != 0) {
    if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

bool isFileAt(const std::string& path, int descriptor) {
  struct stat named {};
  struct stat open {};
  return lstat(path.c_str(), &named) == 0 && fstat(descriptor, &open) == 0 &&
         named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

}  // namespace velmo::client
