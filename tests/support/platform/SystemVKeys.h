#ifndef VELMO_TEST_SYSTEMVKEYS_H
#define VELMO_TEST_SYSTEMVKEYS_H

#include <cstddef>
#include <string>

namespace velmo::test {

/// A semaphore set under a key that nobody else uses, removed when the object is destroyed.
class TestSemaphore {
 public:
  /// One semaphore of the given value.
  explicit TestSemaphore(int value);
  ~TestSemaphore();
  TestSemaphore(const TestSemaphore&) = delete;
  TestSemaphore& operator=(const TestSemaphore&) = delete;

  int key() const {
    return m_key;
  }
  int id() const {
    return m_id;
  }
  int value() const;
  void setValue(int value) const;
  void remove() const;

 private:
  int m_key;
  int m_id;
};

/// A shared-memory segment under a key that nobody else uses, removed when the object is destroyed.
class TestSegment {
 public:
  explicit TestSegment(std::size_t size);
  ~TestSegment();
  TestSegment(const TestSegment&) = delete;
  TestSegment& operator=(const TestSegment&) = delete;

  int key() const {
    return m_key;
  }
  int value() const;
  void setValue(int value) const;

  /// How many attachments the segment has, in all processes.
  unsigned long attachments() const;

 private:
  int m_key;
  int m_id;
};

/// A key without a semaphore set and without a segment. What the test creates under it is removed
/// when the object is destroyed.
class UnusedKey {
 public:
  UnusedKey();
  ~UnusedKey();
  UnusedKey(const UnusedKey&) = delete;
  UnusedKey& operator=(const UnusedKey&) = delete;

  int value() const {
    return m_key;
  }
  std::string text() const {
    return std::to_string(m_key);
  }
  bool hasSemaphore() const;
  bool hasSegment() const;

 private:
  int m_key;
};

}  // namespace velmo::test

#endif
