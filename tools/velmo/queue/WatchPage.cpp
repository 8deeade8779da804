#include "WatchPage.h"

#include <algorithm>

#include "OneLine.h"
#include "TableLayout.h"
#include "TaskRow.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kTopLines = 2;

std::string headerOf(const WatchPage& page, std::size_t width) {
  const std::string rest =
      ": " + std::to_string(page.count) + (page.isFiltered ? " matching" : "") +
      (page.count == 1 ? " task" : " tasks") + ", last change " + page.lastChange;
  const std::size_t left = width - std::min(width, rest.size());
  return cutStartTo(tools::oneLine(page.directory), std::max<std::size_t>(left, 1)) + rest;
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

const char* nothingIn(bool isFiltered) {
  return isFiltered ? "no task in the queue matches" : "the queue is empty";
}

std::size_t rowsFor(std::size_t height) {
  return height - std::min(height, kTopLines);
}

std::vector<std::string> linesOf(const WatchPage& page, std::size_t width, std::size_t height) {
  std::vector<std::string> lines{headerOf(page, width)};
  const std::size_t room = rowsFor(height);
  const bool isWhole = page.count <= room && page.rows.size() == page.count;
  const std::size_t shown = std::min(page.rows.size(), isWhole || room == 0 ? room : room - 1);
  if (page.count == 0) {
    lines.emplace_back(nothingIn(page.isFiltered));
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
