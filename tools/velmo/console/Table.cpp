#include "Table.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "OneLine.h"

namespace velmo::cli {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::string_view kEllipsis = "...";

bool continuesCharacter(char character) {
  return (static_cast<unsigned char>(character) & 0xc0U) == 0x80U;
}

std::string padded(const std::string& text, std::size_t width, Table::Align align) {
  const std::string fill(width - std::min(width, columnsOf(text)), ' ');
  return align == Table::Align::Right ? fill + text : text + fill;
}

}  // namespace

std::size_t columnsOf(std::string_view text) {
  const auto more = std::count_if(text.begin(), text.end(), continuesCharacter);
  return text.size() - static_cast<std::size_t>(more);
}

std::string cutTo(std::string_view text, std::size_t width) {
  if (width == 0 || columnsOf(text) <= width) {
    return std::string(text);
  }
  const std::size_t kept = width - std::min(width, kEllipsis.size());
  std::size_t end = 0;
  for (std::size_t columns = 0; end < text.size(); ++end) {
    columns += continuesCharacter(text[end]) ? 0U : 1U;
    if (columns > kept) {
      break;
    }
  }
  return std::string(text.substr(0, end)) + std::string(kEllipsis.substr(0, width));
}

Table::Table(std::vector<Column> columns) : m_columns(std::move(columns)) {
  for (const Column& column : m_columns) {
    m_widths.push_back(columnsOf(column.heading));
  }
}

void Table::add(std::vector<std::string> cells) {
  cells.resize(m_columns.size());
  for (std::size_t i = 0; i < cells.size(); ++i) {
    cells[i] = tools::oneLine(cells[i]);
    m_widths[i] = std::max(m_widths[i], columnsOf(cells[i]));
  }
  m_rows.push_back(std::move(cells));
}

std::vector<std::size_t> Table::widthsFor(std::size_t width) const {
  std::vector<std::size_t> widths = m_widths;
  const std::size_t whole = std::accumulate(widths.begin(), widths.end(), std::size_t{0}) +
                            kGap.size() * (widths.size() - 1);
  if (width == 0 || whole <= width) {
    return widths;
  }
  const auto flexible = std::find_if(m_columns.begin(), m_columns.end(),
                                     [](const Column& column) { return column.isFlexible; });
  const auto index = flexible == m_columns.end()
                         ? m_columns.size() - 1
                         : static_cast<std::size_t>(flexible - m_columns.begin());
  const std::size_t smallest = columnsOf(m_columns[index].heading);
  const std::size_t excess = whole - width;
  widths[index] = std::max(smallest, widths[index] - std::min(widths[index], excess));
  return widths;
}

std::string Table::line(const std::vector<std::string>& cells,
                        const std::vector<std::size_t>& widths) const {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    line += (i == 0 ? std::string_view() : kGap);
    line += padded(cutTo(cells[i], widths[i]), widths[i], m_columns[i].align);
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

std::string Table::text(std::size_t width) const {
  const std::vector<std::size_t> widths = widthsFor(width);
  std::vector<std::string> headings;
  for (const Column& column : m_columns) {
    headings.push_back(column.heading);
  }
  std::string text = line(headings, widths);
  for (const std::vector<std::string>& row : m_rows) {
    text += line(row, widths);
  }
  return text;
}

void Table::print(Output& output) const {
  const std::string lines = text(output.width());
  const std::size_t end = lines.find('\n');
  output.write(output.styled(lines.substr(0, end), Style::Heading) + lines.substr(end));
}

}  // namespace velmo::cli
