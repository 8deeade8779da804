#include "PropertiesFile.h"

#include <cerrno>
#include <utility>

#include "LinePieces.h"
#include "PropertyLine.h"

namespace velmo::client {

namespace {

using brix::imutils::PropertyLine;

// Returns the errno of a read that failed, or 0.
int readLines(const Descriptor& descriptor, PropertiesFile& file, const TakeProperty& take) {
  LinePieces lines(descriptor, brix::imutils::kPropertyLineSize);
  while (char* line = lines.next()) {
    const PropertyLine entry = brix::imutils::splitPropertyLine(line);
    if (entry.kind == PropertyLine::Kind::Entry) {
      take(entry.name, entry.value);
    }
    file.skippedLines += entry.kind == PropertyLine::Kind::Skipped ? 1 : 0;
  }
  return lines.error();
}

}  // namespace

PropertiesFile readProperties(std::string path, Problem unreadable, const TakeProperty& take) {
  PropertiesFile file{std::move(path)};
  const Opened opened = openRegularFile(file.path);
  if (opened.error == ENOENT) {
    file.isMissing = true;
    return file;
  }
  if (opened.error == 0 && !opened.descriptor.isOpen()) {
    file.failure = Fault{Problem::FileNotRegular, file.path};
    return file;
  }
  const int error = opened.error != 0 ? opened.error : readLines(opened.descriptor, file, take);
  if (error != 0) {
    file.failure = Fault{unreadable, file.path, {}, error};
  }
  return file;
}

}  // namespace velmo::client
