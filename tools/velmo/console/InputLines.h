#ifndef VELMO_INPUTLINES_H
#define VELMO_INPUTLINES_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

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

  /// The next whole lines of everything that has not been returned yet; of a line that is too long,
  /// pieces, the first of which is longer than the limit. Skips what is left of a line that next()
  /// returned as too long. Does not heed `stop`.
  /// @return nothing at the end of the input
  /// @throws Failure  the input cannot be read
  std::optional<std::string_view> rest();

  /// What piece() and rest() call before they read more while `stop` is not 0.
  void whenStopIsIgnored(std::function<void()> action) {
    m_whenIgnored = std::move(action);
  }

  /// Whether everything was returned. Unlike isAtEnd(), looks for the end of the input, but does
  /// not wait for it.
  bool findsEnd();

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

  bool awaitInput(Stop stop);
  std::optional<std::string_view> wholeLines();
  bool fill(Stop stop);
  bool readMore();
  [[noreturn]] void fail(int error);
  bool endLongLine();
  std::optional<std::string_view> takePiece(Stop stop);
  std::string_view take(std::size_t end);
  InputLine lineTo(std::size_t end);
  InputLine longLine();

  int m_descriptor;
  const std::atomic<int>& m_stop;
  std::size_t m_limit;
  std::function<void()> m_whenIgnored;
  std::string m_buffer;
  std::size_t m_begin = 0;     // of what was not returned
  std::size_t m_searched = 0;  // no line feed before it
  std::uint64_t m_number = 0;  // of the line that was returned last
  bool m_isInLongLine = false;
  bool m_isEof = false;
  int m_error = 0;  // of a read; bytes may be missing behind it
};

}  // namespace velmo::cli

#endif
