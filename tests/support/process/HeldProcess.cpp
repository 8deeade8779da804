#include "HeldProcess.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace velmo::test {

namespace {

[[noreturn]] void workAndStay(const std::function<void()>& work, int doneWriter) noexcept {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  work();
  close(doneWriter);
  for (;;) {
    pause();
  }
}

}  // namespace

HeldProcess::HeldProcess(const std::function<void()>& work) {
  std::array<int, 2> done{};
  EXPECT_EQ(0, pipe(done.data()));
  m_pid = fork();
  if (m_pid == 0) {
    close(done[0]);
    workAndStay(work, done[1]);
  }
  close(done[1]);
  char nothing = 0;
  EXPECT_EQ(0, read(done[0], &nothing, 1));  // the end of file
  close(done[0]);
}

HeldProcess::~HeldProcess() {
  kill();
}

void HeldProcess::kill() {
  if (m_isRunning) {
    ::kill(m_pid, SIGKILL);
    EXPECT_EQ(m_pid, waitpid(m_pid, nullptr, 0));
  }
  m_isRunning = false;
}

}  // namespace velmo::test
