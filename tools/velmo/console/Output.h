#ifndef VELMO_OUTPUT_H
#define VELMO_OUTPUT_H

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

namespace velmo::cli {

/// Thrown when the reader of an output is gone. The tool then ends without a word.
struct OutputClosed {};

/// How a piece of text looks on a terminal.
enum class Style { Plain, Heading, Good, Warning, Bad };

/// A standard stream. Nothing is buffered: what was written has been written.
class Output {
 public:
  /// @param descriptor  stays open
  explicit Output(int descriptor);

  /// Writes the whole text.
  /// @throws OutputClosed  the reader is gone
  /// @throws Failure       the text cannot be written, for example because the disk is full
  void write(std::string_view text);

  /// The same, with a line feed behind the text.
  void writeLine(std::string_view text);

  /// Writes a text, and ignores a failure.
  void tell(std::string_view text) noexcept;

  /// Waits until a text of a few thousand bytes can be written without waiting, or will fail.
  /// @param stop  ends the wait while it is not 0
  /// @return whether the text can be written
  bool waitUntilWritable(const std::atomic<int>& stop) const;

  /// Whether people read it.
  bool isTerminal() const {
    return m_isTerminal;
  }

  /// The columns of the terminal now; 0, which means no limit, if it is none.
  std::size_t width() const;

  /// The rows of the terminal now; 0 if it is none.
  std::size_t height() const;

  /// The text, in colour on a terminal. NO_COLOR, unless it is empty, switches colours off, and so
  /// does a TERM that is "dumb" or not set.
  std::string styled(std::string_view text, Style style) const;

 private:
  int m_descriptor;
  bool m_isTerminal;
  bool m_isColoured;
};

}  // namespace velmo::cli

#endif
