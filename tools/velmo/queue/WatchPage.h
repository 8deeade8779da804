#ifndef VELMO_WATCHPAGE_H
#define VELMO_WATCHPAGE_H

#include <cstddef>
#include <string>
#include <vector>

namespace velmo::cli {

/// What velmo queue --watch shows on a terminal.
struct WatchPage {
  std::string directory{};   ///< of the queue
  std::string lastChange{};  ///< when a task last came or went
  std::size_t count = 0;     ///< of all tasks that match
  /// Cells of the first tasks: those of taskColumns(), and the command.
  std::vector<std::vector<std::string>> rows{};
  bool isFiltered = false;  ///< only some tasks are wanted
};

/// What is shown in place of a table without rows.
/// @param isFiltered  only some tasks are wanted
const char* nothingIn(bool isFiltered);

/// How many rows a page of this height may need.
std::size_t rowsFor(std::size_t height);

/// The lines of the page: at most `height`, each of at most `width` columns. The second one has the
/// headings, unless there are no tasks.
std::vector<std::string> linesOf(const WatchPage& page, std::size_t width, std::size_t height);

}  // namespace velmo::cli

#endif
