#include "WatchPage.h"

#include <algorithm>

#include "OneLine.h"
#include "TableLayout.h"
#include "TaskRow.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kTopLines = 2;

// The end of a text that is too long: the end of a path tells more.
std::string endOf(const std::string& text, std::size_t width) {
  constexpr std::size_t kEllipsis = 3;
  if (columnsOf(text) <= width || width <= kEllipsis) {
    return cutTo(text, std::max<std::size_t>(width, 1));
  }
  return "..." + text.substr(text.size() - (width - kEllipsis));
}

std::string headerOf(const WatchPage& page, std::size_t width) {
  const std::string rest = ": " + std::to_string(page.count) +
                           (page.count == 1 ? " task" : " tasks") + ", last change " +
                           page.lastChange;
  const std::size_t left = width - std::min(width, rest.size());
  return endOf(tools::oneLine(page.directory), left) + rest;
}

void addTable(std::vector<std::string>& lines, const WatchPage& page, std::size_t width,
              std::size_t count) {
  TableLayout layout(taskColumns());
  for (std::size_t i = 0; i < count; ++i) {
    layout.measure(page.rows[i]);
  }
  layout.append(commandColumn());
  layout.fitTo(width);
  lines.push_back(layout.headings());
  for (std::size_t i = 0; i < count; ++i) {
    lines.push_back(layout.line(page.rows[i]));
  }
}

}  // namespace

std::size_t rowsFor(std::size_t height) {
  return height - std::min(height, kTopLines);
}

std::vector<std::string> linesOf(const WatchPage& page, std::size_t width, std::size_t height) {
  std::vector<std::string> lines{headerOf(page, width)};
  const std::size_t room = rowsFor(height);
  const bool isWhole = page.count <= room && page.rows.size() == page.count;
  const std::size_t shown = std::min(page.rows.size(), isWhole || room == 0 ? room : room - 1);
  if (page.count == 0) {
    lines.emplace_back("the queue is empty");
  } else {
    addTable(lines, page, width, shown);
  }
  if (shown < page.count) {
    lines.push_back("... and " + std::to_string(page.count - shown) + " more");
  }
  lines.resize(std::min(lines.size(), height));
  for (std::string& line : lines) {
    line = cutTo(line, width);
  }
  return lines;
}

}  // namespace velmo::cli
