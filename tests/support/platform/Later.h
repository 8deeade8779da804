#ifndef VELMO_TEST_LATER_H
#define VELMO_TEST_LATER_H

#include <chrono>
#include <functional>
#include <thread>
#include <utility>

namespace velmo::test {

/// Does something in another thread after a while; its destructor waits for that thread.
class Later {
 public:
  Later(int milliseconds, std::function<void()> work)
      : m_thread([milliseconds, work = std::move(work)] {
          std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
          work();
        }) {}

  Later(const Later&) = delete;
  Later& operator=(const Later&) = delete;

  ~Later() {
    m_thread.join();
  }

 private:
  std::thread m_thread;
};

}  // namespace velmo::test

#endif
