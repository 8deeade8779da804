#include "SystemVKeys.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <random>
#include <stdexcept>
#include <utility>

#include "PlatformCalls.h"

namespace velmo::test {

namespace {

constexpr int kPrivate = 0600;

int randomKey() {
  static std::random_device device;
  return std::uniform_int_distribution<int>(1, 0x7fffffff)(device);
}

// Tries random keys until `make` succeeds; returns {key, identifier}.
template <typename Make>
std::pair<int, int> makeUnderFreshKey(Make make) {
  for (;;) {
    const int key = randomKey();
    const int id = make(key);
    if (id >= 0) {
      return {key, id};
    }
    if (errno != EEXIST) {
      throw std::runtime_error("cannot make a System V object");
    }
  }
}

// Calls the platform's function: a test may fake the one that the library calls.
int setValueOf(int semId, int value) {
  return platform().semctl.real(semId, 0, SETVAL, value);
}

}  // namespace

TestSemaphore::TestSemaphore(int value) {
  std::tie(m_key, m_id) = makeUnderFreshKey(
      [](int key) { return platform().semget.real(key, 1, IPC_CREAT | IPC_EXCL | kPrivate); });
  setValue(value);
}

TestSemaphore::~TestSemaphore() {
  remove();
}

int TestSemaphore::value() const {
  return platform().semctl.real(m_id, 0, GETVAL, 0);
}

void TestSemaphore::setValue(int value) const {
  EXPECT_EQ(0, setValueOf(m_id, value));
}

void TestSemaphore::remove() const {
  platform().semctl.real(m_id, 0, IPC_RMID, 0);
}

TestSegment::TestSegment(std::size_t size) {
  std::tie(m_key, m_id) = makeUnderFreshKey([size](int key) {
    return platform().shmget.real(key, size, IPC_CREAT | IPC_EXCL | kPrivate);
  });
}

TestSegment::~TestSegment() {
  shmctl(m_id, IPC_RMID, nullptr);
}

int TestSegment::value() const {
  void* address = platform().shmat.real(m_id, nullptr, SHM_RDONLY);
  const int value = *static_cast<const int*>(address);
  platform().shmdt.real(address);
  return value;
}

void TestSegment::setValue(int value) const {
  void* address = platform().shmat.real(m_id, nullptr, 0);
  *static_cast<int*>(address) = value;
  platform().shmdt.real(address);
}

unsigned long TestSegment::attachments() const {
  shmid_ds status{};
  EXPECT_EQ(0, shmctl(m_id, IPC_STAT, &status));
  return status.shm_nattch;
}

UnusedKey::UnusedKey() : m_key(randomKey()) {
  while (hasSemaphore() || hasSegment()) {
    m_key = randomKey();
  }
}

UnusedKey::~UnusedKey() {
  const int semaphore = platform().semget.real(m_key, 0, 0);
  if (semaphore >= 0) {
    platform().semctl.real(semaphore, 0, IPC_RMID, 0);
  }
  const int segment = platform().shmget.real(m_key, 0, 0);
  if (segment >= 0) {
    shmctl(segment, IPC_RMID, nullptr);
  }
}

bool UnusedKey::hasSemaphore() const {
  return platform().semget.real(m_key, 0, 0) >= 0;
}

bool UnusedKey::hasSegment() const {
  return platform().shmget.real(m_key, 0, 0) >= 0;
}

}  // namespace velmo::test
