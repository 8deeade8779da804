#ifndef VELMO_TABLE_H
#define VELMO_TABLE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Output.h"

namespace velmo::cli {

/// A table for people: aligned columns with a heading. On a terminal it fits the width.
class Table {
 public:
  enum class Align { Left, Right };

  struct Column {
    std::string heading;
    Align align = Align::Left;
    bool isFlexible = false;  ///< cut when the table is too wide; otherwise the last column is
  };

  /// @param columns  not empty
  explicit Table(std::vector<Column> columns);

  /// Adds a row. Control characters become question marks.
  /// @param cells  one text for each column
  void add(std::vector<std::string> cells);

  /// The lines: the heading, then the rows.
  /// @param width  columns of the terminal; 0: no limit
  std::string text(std::size_t width) const;

  /// Writes the table. The heading is bold on a terminal.
  void print(Output& output) const;

 private:
  std::vector<std::size_t> widthsFor(std::size_t width) const;
  std::string line(const std::vector<std::string>& cells,
                   const std::vector<std::size_t>& widths) const;

  std::vector<Column> m_columns;
  std::vector<std::size_t> m_widths;
  std::vector<std::vector<std::string>> m_rows;
};

/// How many columns a text takes on a terminal: bytes of UTF-8 that continue a character take none.
std::size_t columnsOf(std::string_view text);

/// The text in at most `width` columns; "..." replaces its end if it is longer. 0: no limit.
std::string cutTo(std::string_view text, std::size_t width);

}  // namespace velmo::cli

#endif
