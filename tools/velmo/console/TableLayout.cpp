#include "TableLayout.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "OneLine.h"

namespace velmo::cli {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::string_view kEllipsis = "...";

constexpr std::size_t kLeastWidth = 6;  // of a column that is cut: a few characters and "..."

// Codes from `first` to `last`.
struct Range {
  char32_t first;
  char32_t last;
};

// Characters that take two columns: those of East Asia, and pictures.
constexpr std::array<Range, 12> kWide{{{0x1100, 0x115f},
                                       {0x2e80, 0x303e},
                                       {0x3041, 0xa4cf},
                                       {0xa960, 0xa97c},
                                       {0xac00, 0xd7a3},
                                       {0xf900, 0xfaff},
                                       {0xfe30, 0xfe6f},
                                       {0xff00, 0xff60},
                                       {0xffe0, 0xffe6},
                                       {0x1f300, 0x1f64f},
                                       {0x1f680, 0x1f9ff},
                                       {0x20000, 0x3fffd}}};

// Characters that take none.
constexpr std::array<Range, 6> kNarrow{{{0x300, 0x36f},
                                        {0x200b, 0x200f},
                                        {0x202a, 0x202e},
                                        {0x2060, 0x2064},
                                        {0x20d0, 0x20ff},
                                        {0xfe00, 0xfe0f}}};

template <std::size_t N>
bool isIn(const std::array<Range, N>& ranges, char32_t code) {
  return std::any_of(ranges.begin(), ranges.end(), [code](const Range& range) {
    return code >= range.first && code <= range.last;
  });
}

std::size_t widthOf(const tools::Character& character) {
  if (!character.isValid || character.code < kNarrow.front().first) {
    return 1;
  }
  return isIn(kNarrow, character.code) ? 0 : isIn(kWide, character.code) ? 2 : 1;
}

// How many bytes of the text fit into the columns.
std::size_t bytesThatFit(std::string_view text, std::size_t columns) {
  std::size_t end = 0;
  while (end < text.size()) {
    const tools::Character character = tools::firstCharacter(text.substr(end));
    const std::size_t taken = widthOf(character);
    if (taken > columns) {
      break;
    }
    columns -= taken;
    end += character.size;
  }
  return end;
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
  std::size_t columns = 0;
  while (!text.empty()) {
    const tools::Character character = tools::firstCharacter(text);
    columns += widthOf(character);
    text.remove_prefix(character.size);
  }
  return columns;
}

std::string cutTo(std::string_view text, std::size_t width) {
  if (width == 0 || columnsOf(text) <= width) {
    return std::string(text);
  }
  const std::size_t kept = width - std::min(width, kEllipsis.size());
  return std::string(text.substr(0, bytesThatFit(text, kept))) +
         std::string(kEllipsis.substr(0, width));
}

std::string cutStartTo(std::string_view text, std::size_t width) {
  std::size_t columns = columnsOf(text);
  if (width == 0 || columns <= width) {
    return std::string(text);
  }
  const std::size_t kept = width - std::min(width, kEllipsis.size());
  while (columns > kept) {
    const tools::Character character = tools::firstCharacter(text);
    columns -= widthOf(character);
    text.remove_prefix(character.size);
  }
  return std::string(kEllipsis.substr(0, width)) + std::string(text);
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

std::size_t TableLayout::smallestWidth(std::size_t column) const {
  const bool isNumber = m_columns[column].align == Align::Right;
  return isNumber ? m_widths[column] : std::max(kLeastWidth, columnsOf(m_columns[column].heading));
}

// By one character. Returns whether a column could be cut.
bool TableLayout::cutWidest() {
  std::size_t* widest = nullptr;
  for (std::size_t i = 0; i < m_columns.size(); ++i) {
    if (m_widths[i] > smallestWidth(i) && (widest == nullptr || m_widths[i] > *widest)) {
      widest = &m_widths[i];
    }
  }
  if (widest != nullptr) {
    --*widest;
  }
  return widest != nullptr;
}

void TableLayout::fitTo(std::size_t width) {
  m_limit = width;
  while (width != 0 && this->width() > width && cutWidest()) {
  }
  if (m_columns.back().takesRest) {
    m_widths.back() = width == 0 ? 0 : m_widths.back() + width - std::min(width, this->width());
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
    const auto cut = m_columns[i].isPath ? cutStartTo : cutTo;
    addPadded(line, cut(tools::oneLine(cells[i]), m_widths[i]), m_widths[i], m_columns[i].align);
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return cutTo(line, m_limit);
}

}  // namespace velmo::cli
