#include "PropertyLines.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "FileRemedies.h"
#include "LinePieces.h"
#include "PasteWord.h"
#include "PropertyLine.h"
#include "Remedy.h"
#include "ShellWord.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kMostBytes = std::size_t{1024} * 1024;

using brix::imutils::PropertyLine;

std::string withoutLineFeed(std::string text) {
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  return text;
}

// An expression for the start of a text that can be quoted, or for all of it.
std::string expressionFor(const std::string& text) {
  constexpr std::ptrdiff_t kLongest = 80;
  const auto end = std::find_if_not(text.begin(), text.end(), isPrintable);
  const auto stop = text.begin() + std::min(end - text.begin(), kLongest);
  std::string expression = "^";
  for (auto character = text.begin(); character != stop; ++character) {
    const bool isSpecial = std::string_view("\\.*[]^$/").find(*character) != std::string_view::npos;
    expression += (isSpecial ? "\\" : "") + std::string(1, *character);
  }
  return stop == text.end() ? expression + "$" : expression;
}

std::string editOf(const NumberedLine& line, const std::string& edit) {
  const std::string expression = expressionFor(line.text);
  return std::to_string(line.number) + "{/" + expression + "/" + edit + "}";
}

}  // namespace

std::optional<std::vector<NumberedLine>> propertyLines(const std::string& path) {
  const client::Opened file = client::openRegularFile(path);
  if (!file.descriptor.isOpen()) {
    return std::nullopt;
  }
  client::LinePieces pieces(file.descriptor, brix::imutils::kPropertyLineSize);
  std::vector<NumberedLine> lines;
  std::size_t bytes = 0;
  bool isComplete = true;  // without a line feed the line may go on, for example behind a NUL
  std::size_t number = 0;
  while (char* piece = pieces.next()) {
    const std::string text = piece;
    bytes += text.size();
    if (!isComplete || bytes > kMostBytes) {
      return std::nullopt;
    }
    isComplete = !text.empty() && text.back() == '\n';
    ++number;
    const PropertyLine line = brix::imutils::splitPropertyLine(piece);
    if (line.kind == PropertyLine::Kind::Entry) {
      lines.push_back({number, line.name, line.value, withoutLineFeed(text)});
    } else if (line.kind == PropertyLine::Kind::Skipped) {
      lines.push_back({number, "", "", withoutLineFeed(text)});
    }
  }
  return pieces.error() == 0 ? std::optional(std::move(lines)) : std::nullopt;
}

LineEdits editLines(const std::string& path, const std::vector<NumberedLine>& lines,
                    const std::string& edit) {
  // In the C locale an expression also matches bytes that are not characters.
  const std::string program = "LC_ALL=C sed -i --follow-symlinks ";
  std::size_t bytes = forPath(program + "'' ", path).size();
  std::string script;
  std::size_t count = 0;
  for (const NumberedLine& line : lines) {
    const std::string next = editOf(line, edit);
    bytes += tools::shellQuoted(next).size();
    if (count > 0 && bytes > kLongestCommand) {
      break;
    }
    script += (count > 0 ? ";" : "") + next;
    ++count;
  }
  return {script.empty() ? "" : forPath(program + tools::shellQuoted(script) + " ", path),
          lines.size() - count};
}

}  // namespace velmo::cli
