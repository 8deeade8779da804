#include "SocketLimits.h"

#include <dlfcn.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstring>
#include <optional>

namespace velmo::test {

namespace {

struct Limits {
  std::optional<int> shortened;
  bool connectingIsStalled = false;
  std::optional<long> connect;
  std::optional<long> send;
  std::optional<long> receive;
};

Limits& limits() {
  static Limits instance;
  return instance;
}

// Records the limit and returns the one to use.
timeval noted(std::optional<long>& limit, const void* value) {
  timeval asked{};
  std::memcpy(&asked, value, sizeof asked);
  limit = asked.tv_sec * 1000 + asked.tv_usec / 1000;
  if (!limits().shortened) {
    return asked;
  }
  return {*limits().shortened / 1000, *limits().shortened % 1000 * 1000L};
}

}  // namespace

void shortenSocketLimits(int milliseconds) {
  limits().shortened = milliseconds;
}

void stallConnecting() {
  limits().connectingIsStalled = true;
}

std::string socketLimitsAsked() {
  std::string text;
  const auto add = [&text](const char* kind, const std::optional<long>& limit) {
    if (limit) {
      text += (text.empty() ? "" : ", ") + std::string(kind) + " " + std::to_string(*limit) + " ms";
    }
  };
  add("connect", limits().connect);
  add("send", limits().send);
  add("receive", limits().receive);
  return text;
}

}  // namespace velmo::test

// --- the functions themselves ---

namespace {

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int setsockopt(int descriptor, int level, int name, const void* value,
                          socklen_t size) noexcept {
  using Function = int (*)(int, int, int, const void*, socklen_t);
  static const auto real = next<Function>("setsockopt");
  if (level != SOL_SOCKET || (name != SO_RCVTIMEO && name != SO_SNDTIMEO)) {
    return real(descriptor, level, name, value, size);
  }
  auto& limits = velmo::test::limits();
  const timeval limit =
      velmo::test::noted(name == SO_RCVTIMEO ? limits.receive : limits.send, value);
  return real(descriptor, level, name, &limit, sizeof limit);
}

extern "C" int epoll_wait(int descriptor, epoll_event* events, int most, int timeoutMs) {
  using Function = int (*)(int, epoll_event*, int, int);
  static const auto real = next<Function>("epoll_wait");
  velmo::test::limits().connect = timeoutMs;
  return velmo::test::limits().connectingIsStalled ? 0 : real(descriptor, events, most, timeoutMs);
}
