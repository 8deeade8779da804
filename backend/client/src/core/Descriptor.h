#ifndef VELMO_DESCRIPTOR_H
#define VELMO_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace velmo::client {

/// Owns an open descriptor, or none.
class Descriptor {
 public:
  /// Owns none.
  Descriptor() = default;

  /// Takes the descriptor over; one below 0 is none.
  explicit Descriptor(int value) : m_value(value) {}

  Descriptor(Descriptor&& other) noexcept : m_value(std::exchange(other.m_value, -1)) {}

  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_value, other.m_value);
    return *this;
  }

  ~Descriptor() {
    close();
  }

  bool isOpen() const {
    return m_value >= 0;
  }

  /// The descriptor, or a number below 0.
  int get() const {
    return m_value;
  }

  /// Closes it, if it is open. It counts as closed even after a failure: the platform has released
  /// it then, also if a signal interrupted the call.
  /// @return 0, or the errno of the failure
  int close() {
    const int value = std::exchange(m_value, -1);
    return value < 0 || ::close(value) == 0 ? 0 : errno;
  }

 private:
  int m_value = -1;
};

}  // namespace velmo::client

#endif
