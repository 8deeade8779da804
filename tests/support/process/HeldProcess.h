#ifndef VELMO_TEST_HELDPROCESS_H
#define VELMO_TEST_HELDPROCESS_H

#include <sys/types.h>

#include <functional>

namespace velmo::test {

/// A child process that does its work, then keeps everything that it holds until it is
/// killed: by kill(), by the destructor, or with the test program.
class HeldProcess {
 public:
  /// Returns when the work is done.
  explicit HeldProcess(const std::function<void()>& work);
  ~HeldProcess();
  HeldProcess(const HeldProcess&) = delete;
  HeldProcess& operator=(const HeldProcess&) = delete;

  pid_t pid() const {
    return m_pid;
  }

  /// Ends it with SIGKILL and waits until it has ended.
  void kill();

 private:
  pid_t m_pid;
  bool m_isRunning = true;
};

}  // namespace velmo::test

#endif
