#include "WatchWait.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "Output.h"

namespace velmo::cli {

namespace {

// Holds back the signals that end the program, except during the wait itself.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t held;
    sigemptyset(&held);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
      sigaddset(&held, number);
    }
    pthread_sigmask(SIG_BLOCK, &held, &m_former);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() {
    pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
  }

  const sigset_t& former() const {
    return m_former;
  }

 private:
  sigset_t m_former{};
};

timespec leftUntil(std::chrono::steady_clock::time_point deadline) {
  using std::chrono::nanoseconds;
  using std::chrono::seconds;
  const nanoseconds left =
      std::max<nanoseconds>(deadline - std::chrono::steady_clock::now(), nanoseconds(0));
  const auto whole = std::chrono::duration_cast<seconds>(left);
  return {whole.count(), (left - whole).count()};
}

}  // namespace

WatchWait::End WatchWait::until(std::chrono::steady_clock::time_point deadline, int change,
                                int keys) const {
  const HeldSignals held;
  if (m_interrupt.isRequested()) {
    return End::Signal;
  }
  // No event is asked for of the output: poll() then tells only that its reader is gone.
  std::array<pollfd, 3> files{{{change, POLLIN, 0}, {keys, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
  const timespec left = leftUntil(deadline);
  const int ready = ppoll(files.data(), files.size(), &left, &held.former());
  if (ready < 0) {
    return End::Signal;
  }
  if (files[2].revents != 0) {
    throw OutputClosed();
  }
  if (files[1].revents != 0) {
    return End::Key;
  }
  return ready > 0 ? End::Change : End::Time;
}

}  // namespace velmo::cli
