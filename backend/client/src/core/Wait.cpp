#include "Wait.h"

#include <algorithm>
#include <limits>

namespace velmo::client {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kLookAtFlagNs = 200 * kNsPerMs;
constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

std::int64_t now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * kNsPerSecond + time.tv_nsec;
}

timespec timespecOf(std::int64_t nanoseconds) {
  timespec result{};
  result.tv_sec = nanoseconds / kNsPerSecond;
  result.tv_nsec = nanoseconds % kNsPerSecond;
  return result;
}

}  // namespace

Wait::Wait(int timeoutMs, const volatile int* stop)
    : m_deadlineNs(timeoutMs < 0 ? kNever : now() + timeoutMs * kNsPerMs), m_stop(stop) {}

bool Wait::isStopped() const {
  return m_stop != nullptr && *m_stop != 0;
}

bool Wait::isOver() const {
  return m_deadlineNs != kNever && now() >= m_deadlineNs;
}

std::int64_t Wait::sliceNs() const {
  if (m_deadlineNs == kNever) {
    return kLookAtFlagNs;
  }
  return std::clamp<std::int64_t>(m_deadlineNs - now(), 0, kLookAtFlagNs);
}

int Wait::sliceMs() const {
  return static_cast<int>((sliceNs() + kNsPerMs - 1) / kNsPerMs);
}

timespec Wait::slice() const {
  return timespecOf(sliceNs());
}

bool Wait::hasWholeSlice() const {
  return sliceNs() == kLookAtFlagNs;
}

void Wait::pause(std::int64_t nanoseconds) const {
  const timespec time = timespecOf(std::min(nanoseconds, sliceNs()));
  nanosleep(&time, nullptr);
}

Outcome checkTimeout(int timeoutMs) {
  if (timeoutMs < VELMO_NO_LIMIT) {
    return Fault{Problem::ArgumentOutOfRange, "timeout_ms", std::to_string(timeoutMs)};
  }
  return std::nullopt;
}

}  // namespace velmo::client
