#ifndef VELMO_FULLSCREEN_H
#define VELMO_FULLSCREEN_H

#include <signal.h>
#include <termios.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Output.h"

namespace velmo::cli {

/// The keys of the terminal of standard input, each sent at once and not echoed. The destructor
/// restores everything.
class Keys {
 public:
  Keys();
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;
  ~Keys();

  /// Standard input, if it is a terminal that sends each key; otherwise -1.
  int descriptor() const {
    return m_descriptor;
  }

 private:
  int m_descriptor = -1;
  termios m_former{};
};

/// The terminal of standard output as a page that is drawn again and again. The cursor is hidden
/// and keys are not echoed. The destructor restores everything.
class FullScreen {
 public:
  /// @throws OutputClosed, Failure
  explicit FullScreen(Output& output);
  FullScreen(const FullScreen&) = delete;
  FullScreen& operator=(const FullScreen&) = delete;
  ~FullScreen();

  /// Whether the terminal of an output has a cursor that can be moved, and another program does not
  /// use it now.
  static bool isPossible(const Output& output);

  /// Draws the lines over the former ones in one piece.
  /// @param headings  the index of a line in another style; none: all are alike
  void draw(const std::vector<std::string>& lines, std::optional<std::size_t> headings);

  /// Standard input, if it is a terminal that sends each key; otherwise -1.
  int keys() const {
    return m_keys.descriptor();
  }

  /// Reads what was typed.
  /// @return whether it contains a q, or the terminal is gone
  bool takesQuit();

 private:
  Output& m_output;
  Keys m_keys{};
  struct sigaction m_formerAction {};
};

}  // namespace velmo::cli

#endif
