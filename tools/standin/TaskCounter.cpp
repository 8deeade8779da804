#include "TaskCounter.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <system_error>

#include "Report.h"

namespace standin {

namespace {

constexpr int kCreatePrivate = IPC_CREAT | IPC_EXCL | 0600;
constexpr std::size_t kCounterBytes = sizeof(std::int32_t);

// Never 0, which names no object that another process could find.
int randomKey() {
  std::random_device random;
  return std::uniform_int_distribution<int>(1, std::numeric_limits<int>::max())(random);
}

// Keys are shared by the whole machine: one that is taken belongs to somebody else.
template <typename Create>
int createUnderFreshKey(Create create, const char* what) {
  for (;;) {
    const int key = randomKey();
    if (create(key) >= 0) {
      return key;
    }
    if (errno != EEXIST) {
      throw systemError(std::string("cannot make the task counter's ") + what);
    }
  }
}

}  // namespace

TaskCounter::TaskCounter() = default;

Variables TaskCounter::variables() const {
  return {{"SHARED_VELMO_TASKID", std::to_string(m_segment.key())},
          {"SEMAPHORE_VELMO_TASKID", std::to_string(m_semaphore.key())}};
}

TaskCounter::Segment::Segment()
    : m_key(createUnderFreshKey(
          [this](int key) { return m_id = shmget(key, kCounterBytes, kCreatePrivate); },
          "shared memory")) {}

TaskCounter::Segment::~Segment() {
  shmctl(m_id, IPC_RMID, nullptr);
}

int TaskCounter::Segment::key() const {
  return m_key;
}

TaskCounter::Semaphore::Semaphore()
    : m_key(
          createUnderFreshKey([](int key) { return semget(key, 1, kCreatePrivate); }, "semaphore")),
      m_semaphore(m_key, false) {
  if (!m_semaphore.init()) {
    const std::system_error failure = systemError("cannot set the task counter's semaphore");
    m_semaphore.close();
    throw failure;
  }
}

TaskCounter::Semaphore::~Semaphore() {
  m_semaphore.close();
}

int TaskCounter::Semaphore::key() const {
  return m_key;
}

}  // namespace standin
