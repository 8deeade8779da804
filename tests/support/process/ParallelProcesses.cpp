#include "ParallelProcesses.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace velmo::test {

namespace {

// A pipe that holds processes back until the writer closes it.
class Gate {
 public:
  Gate() {
    EXPECT_EQ(0, pipe(m_ends.data()));
  }
  ~Gate() {
    close(m_ends[0]);
    open();
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  void open() {
    if (m_ends[1] >= 0) {
      close(m_ends[1]);
    }
    m_ends[1] = -1;
  }

  void pass() {
    open();  // this process's copy
    char nothing = 0;
    EXPECT_EQ(0, read(m_ends[0], &nothing, 1));  // the end of file
  }

 private:
  std::array<int, 2> m_ends{};
};

int statusOf(const std::function<int(int)>& work, int number) {
  try {
    return work(number);
  } catch (...) {
    return 255;
  }
}

int waitFor(pid_t child) {
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

std::vector<int> inProcesses(int count, const std::function<int(int number)>& work) {
  Gate gate;
  std::vector<pid_t> children;
  for (int number = 0; number < count; ++number) {
    const pid_t child = fork();
    if (child == 0) {
      gate.pass();
      _exit(statusOf(work, number));
    }
    children.push_back(child);
  }
  gate.open();
  std::vector<int> results;
  results.reserve(children.size());
  for (const pid_t child : children) {
    results.push_back(waitFor(child));
  }
  return results;
}

}  // namespace velmo::test
