#include "Interrupt.h"

#include <signal.h>

#include <array>
#include <cstddef>

namespace velmo::cli {

namespace {

constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};

std::atomic<int> g_signal{0};
static_assert(std::atomic<int>::is_always_lock_free);  // or a signal handler could not set it

std::array<struct sigaction, kSignals.size()> g_former{};

void take(int number) {
  g_signal = number;
}

}  // namespace

// Deliberate: no SA_RESTART, so that a read that waits returns; SA_RESETHAND, so that the second
// signal ends the process wherever it waits.
Interrupt::Interrupt() {
  g_signal = 0;
  struct sigaction action {};
  action.sa_handler = take;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], nullptr, &g_former[i]);
    if (g_former[i].sa_handler != SIG_IGN) {
      sigaction(kSignals[i], &action, nullptr);
    }
  }
}

Interrupt::~Interrupt() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &g_former[i], nullptr);
  }
}

const std::atomic<int>& Interrupt::flag() const {
  return g_signal;
}

}  // namespace velmo::cli
