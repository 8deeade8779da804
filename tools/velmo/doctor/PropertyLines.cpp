#include "PropertyLines.h"

#include <algorithm>

#include "FileRemedies.h"
#include "LinePieces.h"
#include "PropertyLine.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kMostBytes = 1024U * 1024U;

using brix::imutils::PropertyLine;

}  // namespace

std::optional<std::vector<NumberedLine>> propertyLines(const std::string& path) {
  const client::Opened file = client::openRegularFile(path);
  if (!file.descriptor.isOpen()) {
    return std::nullopt;
  }
  client::LinePieces pieces(file.descriptor, brix::imutils::kPropertyLineSize);
  std::vector<NumberedLine> lines;
  std::size_t bytes = 0;
  bool isComplete = true;  // of a line without its line feed, which a NUL may hide, more may come
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
      lines.push_back({number, line.name, line.value});
    } else if (line.kind == PropertyLine::Kind::Skipped) {
      lines.push_back({number, "", ""});
    }
  }
  return pieces.error() == 0 ? std::optional(std::move(lines)) : std::nullopt;
}

std::string commentOut(const std::string& path, const std::vector<std::size_t>& numbers) {
  std::string script;
  for (std::size_t i = 0; i < std::min(numbers.size(), kMostLines); ++i) {
    script += (i > 0 ? ";" : "") + std::to_string(numbers[i]) + "s/^/#/";
  }
  return script.empty() ? "" : forPath("sed -i --follow-symlinks '" + script + "' ", path);
}

}  // namespace velmo::cli
