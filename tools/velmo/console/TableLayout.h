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
    bool isPath = false;     ///< loses its start when it is cut: the end of a path tells more
    bool takesRest = false;  ///< only the last: is not measured, and gets what the others leave
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

  /// Makes the table fit: the widest columns are cut, but not those on the right, which are
  /// numbers, and none to less than its heading. If that is not enough, each line is cut. Called
  /// after the last measure().
  /// @param width  columns of the terminal; 0: no limit
  void fitTo(std::size_t width);

  /// The headings as a line, without a line feed.
  std::string headings() const;

  /// A row as a line, without a line feed.
  /// @param cells  one text for each column; missing ones are empty
  std::string line(const std::vector<std::string>& cells) const;

 private:
  std::size_t smallestWidth(std::size_t column) const;
  bool cutWidest();

  std::vector<Column> m_columns;
  std::vector<std::size_t> m_widths;
  std::size_t m_limit = 0;
};

/// How many columns a text takes on a terminal: two for a wide character, none for one that
/// combines with the former. A byte that is not UTF-8 takes one.
std::size_t columnsOf(std::string_view text);

/// The text in at most `width` columns; "..." replaces its end if it is longer. 0: no limit.
std::string cutTo(std::string_view text, std::size_t width);

/// The same, but "..." replaces its start.
std::string cutStartTo(std::string_view text, std::size_t width);

}  // namespace velmo::cli

#endif
