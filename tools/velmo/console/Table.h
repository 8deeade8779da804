#ifndef VELMO_TABLE_H
#define VELMO_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

#include "Output.h"
#include "TableLayout.h"

namespace velmo::cli {

/// A table for people: aligned columns with a heading. On a terminal it fits the width.
class Table {
 public:
  using Align = TableLayout::Align;
  using Column = TableLayout::Column;

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
  TableLayout m_layout;
  std::vector<std::vector<std::string>> m_rows;
};

}  // namespace velmo::cli

#endif
