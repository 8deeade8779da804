#include "Wrapped.h"

#include <algorithm>
#include <string_view>

#include "OneLine.h"
#include "TableLayout.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kNarrowest = 40;  // behind the blanks

}  // namespace

std::string wrapped(const std::string& text, std::size_t indent, std::size_t width) {
  const std::string blanks(indent, ' ');
  const std::size_t limit = width == 0 ? 0 : std::max(width, indent + kNarrowest);
  std::string lines;
  std::string line;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    const std::string word = tools::oneLine(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const std::size_t columns = indent + columnsOf(line) + 1 + columnsOf(word);
    if (!line.empty() && limit != 0 && columns > limit) {
      lines += blanks + line + "\n";
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  return lines + blanks + line + "\n";
}

}  // namespace velmo::cli
