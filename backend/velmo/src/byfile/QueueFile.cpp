#include "QueueFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

#include "Joined.h"
#include "StdioFile.h"

namespace brix::velmo {

namespace {

constexpr std::string_view kPair = "%%";

void writeFolded(imutils::WholeFile& file, std::string_view text) {
  if (text.find(kPair) == std::string_view::npos) {
    file.write(text);
  } else {
    file.write(foldPercentSigns(std::string(text)));
  }
}

}  // namespace

// Deliberate: a pair of percent signs becomes one, as if the contents were a printf format without
// arguments; callers double their percent signs for it. Any other percent sign stays ("date +%s" is
// an ordinary command), and no missing argument is ever read.
std::string foldPercentSigns(std::string contents) {
  std::size_t pair = contents.find(kPair);
  std::size_t end = pair;  // of the folded text
  while (pair != std::string::npos) {
    const std::size_t next = contents.find(kPair, pair + kPair.size());
    const std::size_t size = std::min(next, contents.size()) - (pair + 1);
    std::memmove(&contents[end], &contents[pair + 1], size);
    end += size;
    pair = next;
  }
  contents.resize(std::min(end, contents.size()));
  return contents;
}

QueueFile::QueueFile(std::string_view temporaryDirectory, std::string_view baseDirectory,
                     std::string_view name)
    : m_temporaryFile(imutils::joined({temporaryDirectory, "/", name})),
      m_queueFile(imutils::joined({baseDirectory, "/taskqueue/", name})) {}

Outcome QueueFile::write(std::string contents) const {
  const std::string text = foldPercentSigns(std::move(contents));
  return outcomeOf(imutils::writeWholeFile(m_temporaryFile, text));
}

Outcome QueueFile::writeParts(std::string_view command, std::string_view rest) const {
  imutils::WholeFile file(m_temporaryFile.c_str());
  writeFolded(file, command);
  writeFolded(file, rest);
  return outcomeOf(file.finish());
}

Outcome QueueFile::outcomeOf(const std::optional<int>& error) const {
  return error ? Outcome(Failure{Step::WriteTemporaryFile, m_temporaryFile, *error}) : std::nullopt;
}

// Deliberate: the test and the move are two steps, and a file of that name that arrives between
// them is replaced. Clients rely on the task identifier to keep their names apart.
Outcome QueueFile::move() const {
  if (access(m_queueFile.c_str(), F_OK) == 0) {
    return Failure{Step::FindFreeName, m_queueFile, EEXIST};
  }
  if (std::rename(m_temporaryFile.c_str(), m_queueFile.c_str()) != 0) {
    return Failure{Step::MoveIntoQueue, m_temporaryFile, errno, m_queueFile};
  }
  return std::nullopt;
}

}  // namespace brix::velmo
