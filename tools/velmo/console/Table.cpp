#include "Table.h"

#include <utility>

namespace velmo::cli {

Table::Table(std::vector<Column> columns) : m_layout(std::move(columns)) {}

void Table::add(std::vector<std::string> cells) {
  m_layout.measure(cells);
  m_rows.push_back(std::move(cells));
}

std::string Table::text(std::size_t width) const {
  TableLayout layout = m_layout;
  layout.fitTo(width);
  std::string text = layout.headings() + "\n";
  for (const std::vector<std::string>& row : m_rows) {
    text += layout.line(row) + "\n";
  }
  return text;
}

void Table::print(Output& output) const {
  const std::string lines = text(output.width());
  const std::size_t end = lines.find('\n');
  output.write(output.styled(lines.substr(0, end), Style::Heading) + lines.substr(end));
}

}  // namespace velmo::cli
