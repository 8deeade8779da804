#ifndef VELMO_TEST_ENDEDPROCESS_H
#define VELMO_TEST_ENDEDPROCESS_H

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velmo::test {

/// The number of a process that has ended.
inline pid_t endedProcess() {
  const pid_t process = fork();
  if (process == 0) {
    _exit(0);
  }
  waitpid(process, nullptr, 0);
  return process;
}

}  // namespace velmo::test

#endif
