#include "QueueFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>

#include "StdioFile.h"

namespace brix::velmo {

// Deliberate: a pair of percent signs becomes one, as if the contents were a printf format without
// arguments; callers double their percent signs for it. Any other percent sign stays ("date +%s" is
// an ordinary command), and no missing argument is ever read.
std::string foldPercentSigns(const std::string& contents) {
  std::string text;
  text.reserve(contents.size());
  for (std::size_t i = 0; i < contents.size(); ++i) {
    text += contents[i];
    if (contents[i] == '%' && i + 1 < contents.size() && contents[i + 1] == '%') {
      ++i;
    }
  }
  return text;
}

QueueFile::QueueFile(const std::string& temporaryDirectory, const std::string& queueDirectory,
                     const std::string& name)
    : m_temporaryFile(temporaryDirectory + "/" + name), m_queueFile(queueDirectory + "/" + name) {}

Outcome QueueFile::write(const std::string& contents) const {
  if (const auto error = imutils::writeWholeFile(m_temporaryFile, foldPercentSigns(contents))) {
    return Failure{Step::WriteTemporaryFile, m_temporaryFile, *error};
  }
  return std::nullopt;
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
