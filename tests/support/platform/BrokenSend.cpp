#include "BrokenSend.h"

#include <dlfcn.h>
#include <sys/socket.h>

namespace velmo::test {

namespace {

bool g_isNextBroken = false;
int g_broken = 0;

}  // namespace

void breakNextSend() {
  g_isNextBroken = true;
}

int brokenSends() {
  return g_broken;
}

// After this, the kernel refuses a send and raises the signal.
static void breakIfAsked(int descriptor) {
  if (g_isNextBroken) {
    g_isNextBroken = false;
    ++g_broken;
    ::shutdown(descriptor, SHUT_WR);
  }
}

}  // namespace velmo::test

extern "C" ssize_t send(int descriptor, const void* data, size_t size, int flags) {
  using Function = ssize_t (*)(int, const void*, size_t, int);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "send"));
  velmo::test::breakIfAsked(descriptor);
  return real(descriptor, data, size, flags);
}
