#include "TemporaryTaskCounter.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include "SystemError.h"

namespace velmo::standin {

namespace {

constexpr int kCreatePrivate = IPC_CREAT | IPC_EXCL | 0600;
constexpr std::size_t kCounterBytes = sizeof(std::int32_t);

// The whole machine shares the keys: an object that exists belongs to another program.
template <typename Create>
int createUnderFreshKey(Create create, const char* what) {
  for (;;) {
    const int key = randomKey();
    if (create(key) >= 0) {
      return key;
    }
    if (errno != EEXIST) {
      throw tools::systemError(std::string("cannot make the task counter's ") + what);
    }
  }
}

}  // namespace

TemporaryTaskCounter::TemporaryTaskCounter() = default;

int TemporaryTaskCounter::segmentKey() const {
  return m_segment.key();
}

int TemporaryTaskCounter::semaphoreKey() const {
  return m_semaphore.key();
}

TemporaryTaskCounter::Segment::Segment()
    : m_key(createUnderFreshKey(
          [this](int key) { return m_id = shmget(key, kCounterBytes, kCreatePrivate); },
          "shared memory")) {}

TemporaryTaskCounter::Segment::~Segment() {
  shmctl(m_id, IPC_RMID, nullptr);
}

int TemporaryTaskCounter::Segment::key() const {
  return m_key;
}

TemporaryTaskCounter::Semaphore::Semaphore()
    : m_key(
          createUnderFreshKey([](int key) { return semget(key, 1, kCreatePrivate); }, "semaphore")),
      m_semaphore(m_key, false) {
  if (!m_semaphore.init()) {
    const std::system_error failure = tools::systemError("cannot set the task counter's semaphore");
    m_semaphore.close();
    throw failure;
  }
}

TemporaryTaskCounter::Semaphore::~Semaphore() {
  m_semaphore.close();
}

int TemporaryTaskCounter::Semaphore::key() const {
  return m_key;
}

}  // namespace velmo::standin
