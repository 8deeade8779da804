#include "RandomBytes.h"

#include <sys/random.h>
#include <cerrno>

namespace velmo::client {

Outcome fillRandom(void* bytes, std::size_t size) {
  auto* next = static_cast<unsigned char*>(bytes);
  for (std::size_t left = size; left > 0;) {
    const ssize_t count = getrandom(next, left, GRND_NONBLOCK);
    if (count < 0 && errno != EINTR) {
      return Fault{Problem::NoRandomBytes, {}, {}, errno};
    }
    const std::size_t got = count < 0 ? 0 : static_cast<std::size_t>(count);
    next += got;
    left -= got;
  }
  return std::nullopt;
}

}  // namespace velmo::client
