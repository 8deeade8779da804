#ifndef VELMO_INPUTLINES_H
#define VELMO_INPUTLINES_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmo::cli {

/// A line of the input. The texts are valid until the next call of InputLines.
struct InputLine {
  std::uint64_t number;    ///< from 1
  std::string_view text;   ///< without its line feed
  std::string_view bytes;  ///< as read: with the line feed, which the last line may lack
  bool isTooLong = false;  ///< the texts are empty then; InputLines::piece() has the line
};

/// Reads a descriptor line by line. Takes memory for one line, up to the limit.
class InputLines {
 public:
  /// @param descriptor  stays open
  /// @param stop        ends a wait for input while it is not 0
  /// @param limit       of a line without its line feed, in bytes
  InputLines(int descriptor, const std::atomic<int>& stop, std::size_t limit);

  /// The next line. What is left of a line that is too long is skipped.
  /// @return nothing at the end of the input, or when `stop` ended the wait: see isAtEnd()
  /// @throws Failure  the input cannot be read
  std::optional<InputLine> next();

  /// The next piece of a line that is too long, with its line feed in the last one. Does not heed
  /// `stop`.
  /// @return nothing at the end of the line
  /// @throws Failure  the input cannot be read
  std::optional<std::string_view> piece();

  /// The next piece of everything that has not been returned yet. Does not heed `stop`.
  /// @return nothing at the end of the input
  /// @throws Failure  the input cannot be read
  std::optional<std::string_view> rest();

  /// The number of the line that next() returns next.
  std::uint64_t nextNumber() const {
    return m_number + 1;
  }

  /// Whether everything was returned.
  bool isAtEnd() const {
    return m_isEof && m_begin == m_buffer.size();
  }

 private:
  enum class Stop { Heed, Ignore };

  bool awaitInput(Stop stop) const;
  bool fill(Stop stop);
  bool endLongLine();
  std::optional<std::string_view> takePiece(Stop stop);
  std::string_view take(std::size_t end);
  InputLine lineTo(std::size_t end);
  InputLine longLine();

  int m_descriptor;
  const std::atomic<int>& m_stop;
  std::size_t m_limit;
  std::string m_buffer;
  std::size_t m_begin = 0;     // of what was not returned
  std::size_t m_searched = 0;  // no line feed before it
  std::uint64_t m_number = 0;  // of the line that was returned last
  bool m_isInLongLine = false;
  bool m_isEof = false;
};

}  // namespace velmo::cli

#endif
