#include "TableLayout.h"

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

void addPadded(std::string& line, const std::string& text, std::size_t width,
               TableLayout::Align align) {
  const std::size_t fill = width - std::min(width, columnsOf(text));
  line.append(align == TableLayout::Align::Right ? fill : 0, ' ');
  line += text;
  line.append(align == TableLayout::Align::Left ? fill : 0, ' ');
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

TableLayout::TableLayout(std::vector<Column> columns) : m_columns(std::move(columns)) {
  for (const Column& column : m_columns) {
    m_widths.push_back(columnsOf(column.heading));
  }
}

void TableLayout::measure(const std::vector<std::string>& cells) {
  for (std::size_t i = 0; i < std::min(cells.size(), m_columns.size()); ++i) {
    if (!m_columns[i].takesRest) {
      m_widths[i] = std::max(m_widths[i], columnsOf(tools::oneLine(cells[i])));
    }
  }
}

void TableLayout::append(Column column, std::size_t width) {
  m_widths.push_back(std::max(width, columnsOf(column.heading)));
  m_columns.push_back(std::move(column));
}

std::size_t TableLayout::width() const {
  return std::accumulate(m_widths.begin(), m_widths.end(), kGap.size() * (m_widths.size() - 1));
}

// A column is never cut below its heading.
void TableLayout::cut(std::size_t column, std::size_t width) {
  const std::size_t whole = this->width();
  const std::size_t excess = whole - std::min(whole, width);
  const std::size_t smallest = columnsOf(m_columns[column].heading);
  m_widths[column] = std::max(smallest, m_widths[column] - std::min(m_widths[column], excess));
}

void TableLayout::fitTo(std::size_t width) {
  const std::size_t last = m_columns.size() - 1;
  if (width != 0) {
    const auto flexible = std::find_if(m_columns.begin(), m_columns.end(),
                                       [](const Column& column) { return column.isFlexible; });
    cut(flexible == m_columns.end() ? last : static_cast<std::size_t>(flexible - m_columns.begin()),
        width);
  }
  if (m_columns[last].takesRest) {
    m_widths[last] = width == 0 ? 0 : m_widths[last] + width - std::min(width, this->width());
  }
}

std::string TableLayout::headings() const {
  std::vector<std::string> headings;
  headings.reserve(m_columns.size());
  for (const Column& column : m_columns) {
    headings.push_back(column.heading);
  }
  return line(headings);
}

std::string TableLayout::line(const std::vector<std::string>& cells) const {
  std::string line;
  for (std::size_t i = 0; i < std::min(cells.size(), m_columns.size()); ++i) {
    line += (i == 0 ? std::string_view() : kGap);
    addPadded(line, cutTo(tools::oneLine(cells[i]), m_widths[i]), m_widths[i], m_columns[i].align);
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace velmo::cli
