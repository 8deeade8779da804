#ifndef VELMO_INPUTLINES_H
#define VELMO_INPUTLINES_H

#include <cstddef>
#include <optional>
#include <string>

#include "Interrupt.h"

namespace velmo::cli {

/// The lines of an input, read as they come.
class InputLines {
 public:
  /// The longest line, in bytes.
  static constexpr std::size_t kLongest = std::size_t{1024} * 1024;

  /// @param descriptor  stays open
  InputLines(int descriptor, const Interrupt& interrupt)
      : m_descriptor(descriptor), m_interrupt(interrupt) {}

  /// The next line, without its line feed, which the last one may lack.
  /// @return nothing at the end
  /// @throws Failure  the line is too long, the input cannot be read, or the user wants to stop
  std::optional<std::string> next();

 private:
  bool readMore();
  void checkInterrupt() const;

  int m_descriptor;
  const Interrupt& m_interrupt;
  std::string m_text{};
  std::size_t m_start = 0;  // of the next line in m_text
};

}  // namespace velmo::cli

#endif
