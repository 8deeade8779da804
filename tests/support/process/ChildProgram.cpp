#include "ChildProgram.h"

#include <signal.h>
#include <sys/wait.h>

namespace velmo::test {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

ChildProgram::~ChildProgram() {
  if (m_pid > 0 && isRunning()) {
    signal(SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
}

void ChildProgram::signal(int number) const {
  kill(m_pid, number);
}

bool ChildProgram::isRunning() {
  int end = 0;
  if (!m_status && waitpid(m_pid, &end, WNOHANG) == m_pid) {
    m_status = WIFSIGNALED(end) ? -WTERMSIG(end) : WEXITSTATUS(end);
  }
  return !m_status;
}

}  // namespace velmo::test
