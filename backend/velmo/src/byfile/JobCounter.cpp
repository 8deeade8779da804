#include "JobCounter.h"

#include <cstdio>

#include "IMException.h"
#include "IMProperties.h"
#include "Joined.h"
#include "Numbering.h"
#include "ScanInt.h"

namespace brix::velmo {

using imutils::joined;

JobCounter::Reader::Reader(const JobCounter& counter) : m_file(counter.m_file.c_str()) {}

JobCounter::Next JobCounter::Reader::next() const {
  if (!m_file.isOpen()) {
    return {0, std::nullopt};
  }
  const std::optional<int> last = imutils::scanInt(m_file.stream());
  if (!last) {
    return {0, Failure{Step::ParseJobCounter}};
  }
  return {followingJobNumber(*last), std::nullopt};
}

JobCounter::JobCounter(std::string_view dataDirectory)
    : m_file(joined({dataDirectory, "/velmo/jobid"})),
      m_newCopy(joined({dataDirectory, "/velmo/jobid_tmp"})) {}

Outcome JobCounter::save(int number) const {
  if (const auto error = imutils::writeWholeFile(m_newCopy, std::to_string(number))) {
    return Failure{Step::WriteJobCounter, m_newCopy, *error};
  }
  // Deliberate: the result is ignored. After a failure the next caller gets this number too;
  // callers rely on an identifier whenever the number could be written.
  static_cast<void>(std::rename(m_newCopy.c_str(), m_file.c_str()));
  return std::nullopt;
}

ServerIdentity readServerIdentity(std::string_view confDirectory) {
  try {
    imutils::IMProperties server;
    server.load(joined({confDirectory, "/serverid.cfg"}).c_str());
    if (const char* identity = server.getProperty("SELF_SERVER_ID")) {
      return {identity, std::nullopt};
    }
  } catch (const imutils::IMException& exception) {
    return {std::nullopt, Failure{Step::ReadServerIdentity, exception.getMessage()}};
  }
  return {};
}

}  // namespace brix::velmo
