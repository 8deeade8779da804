#ifndef VELMO_TEST_CHILDPROGRAM_H
#define VELMO_TEST_CHILDPROGRAM_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace velmo::test {

/// Pointers to the texts, and a null pointer at the end, as exec takes them.
std::vector<char*> pointersTo(std::vector<std::string>& texts);

/// A program that a test has started. The destructor kills it if it still runs.
class ChildProgram {
 public:
  ChildProgram() = default;
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;
  ~ChildProgram();

  /// Takes a child of this process over. Called once.
  void adopt(pid_t process) {
    m_pid = process;
  }

  pid_t pid() const {
    return m_pid;
  }

  void signal(int number) const;

  /// Whether it still runs; never waits.
  bool isRunning();

  /// The exit status, or minus the signal that ended it, once it does not run any more.
  int status() const {
    return m_status.value();
  }

 private:
  pid_t m_pid = -1;
  std::optional<int> m_status;
};

}  // namespace velmo::test

#endif
