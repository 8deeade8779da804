#ifndef VELMO_PROGRESS_H
#define VELMO_PROGRESS_H

#include <chrono>
#include <string>

#include "BulkSummary.h"
#include "Output.h"

namespace velmo::cli {

/// A line on the terminal that says how far a run is. It is redrawn at most five times a second.
/// A terminal that fails switches it off.
class Progress {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// @param isShown  false: nothing is ever written
  Progress(Output& output, bool isShown, Time start);

  /// Draws the line, unless it was drawn a moment ago.
  void show(const BulkCounts& counts, Time now);

  /// Removes the line.
  void clear();

 private:
  void draw(const std::string& text);

  Output& m_output;
  bool m_isShown;
  Time m_start;
  Time m_next;
  std::size_t m_width = 0;  // of the line that is there
};

}  // namespace velmo::cli

#endif
