#ifndef VELMO_TABLELAYOUT_H
#define VELMO_TABLELAYOUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velmo::cli {

/// The widths of a table's columns. It keeps no rows: each row is measured first and made into a
/// line later. Control characters become question marks.
class TableLayout {
 public:
  enum class Align { Left, Right };

  struct Column {
    std::string heading;
    Align align = Align::Left;
    bool isFlexible = false;  ///< cut when the table is too wide; otherwise the last column is
    bool takesRest = false;   ///< only the last: is not measured, and gets what the others leave
  };

  /// @param columns  not empty
  explicit TableLayout(std::vector<Column> columns);

  /// Makes the columns as wide as the cells.
  /// @param cells  one text for each column; missing ones are empty
  void measure(const std::vector<std::string>& cells);

  /// Appends a column.
  /// @param width  how wide it is at least
  void append(Column column, std::size_t width = 0);

  /// The columns and the gaps between them.
  std::size_t width() const;

  /// Makes the table fit. Called after the last measure().
  /// @param width  columns of the terminal; 0: no limit
  void fitTo(std::size_t width);

  /// The headings as a line, without a line feed.
  std::string headings() const;

  /// A row as a line, without a line feed.
  /// @param cells  one text for each column; missing ones are empty
  std::string line(const std::vector<std::string>& cells) const;

 private:
  void cut(std::size_t column, std::size_t width);

  std::vector<Column> m_columns;
  std::vector<std::size_t> m_widths;
};

/// How many columns a text takes on a terminal: bytes of UTF-8 that continue a character take none.
std::size_t columnsOf(std::string_view text);

/// The text in at most `width` columns; "..." replaces its end if it is longer. 0: no limit.
std::string cutTo(std::string_view text, std::size_t width);

}  // namespace velmo::cli

#endif
