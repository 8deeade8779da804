#include "SignalQueue.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "SystemError.h"

namespace velmo::tools {

namespace {

bool isIgnored(int number) {
  struct sigaction action {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

FileDescriptor openQueue() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGCHLD, SIG_DFL);  // if it were ignored, every exit status would be lost
  sigset_t awaited;
  sigemptyset(&awaited);
  for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGQUIT}) {
    sigaddset(&awaited, number);
  }
  if (!isIgnored(SIGHUP)) {  // once blocked, it would be queued although it is ignored
    sigaddset(&awaited, SIGHUP);
  }
  FileDescriptor queue(signalfd(-1, &awaited, SFD_NONBLOCK | SFD_CLOEXEC));
  if (!queue.isOpen() || sigprocmask(SIG_BLOCK, &awaited, nullptr) != 0) {
    throw systemError("cannot wait for signals");
  }
  return queue;
}

}  // namespace

SignalQueue::SignalQueue() : m_descriptor(openQueue()) {}

int SignalQueue::descriptor() const {
  return m_descriptor.get();
}

std::optional<EndSignal> SignalQueue::takeEndSignal() {
  signalfd_siginfo info{};
  while (read(m_descriptor.get(), &info, sizeof info) == sizeof info) {
    if (info.ssi_signo != SIGCHLD) {
      return EndSignal{static_cast<int>(info.ssi_signo), info.ssi_code == SI_KERNEL};
    }
  }
  return std::nullopt;
}

}  // namespace velmo::tools
