#include "NewFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "FileCalls.h"

namespace velmo::client {

NewFile::NewFile(std::string path) : m_path(std::move(path)) {}

NewFile::~NewFile() {
  if (m_isToBeRemoved && isOurs()) {
    unlink(m_path.c_str());
  }
}

// While the file is open, no other file can have its inode.
bool NewFile::isOurs() const {
  return !m_descriptor.isOpen() || isFileAt(m_path, m_descriptor.get());
}

int NewFile::create(mode_t mode) {
  Opened opened = openFile(m_path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
  m_descriptor = std::move(opened.descriptor);
  m_isToBeRemoved = m_descriptor.isOpen();
  return opened.error;
}

int NewFile::write(std::string_view contents, bool isDurable) {
  const int error = writeAll(m_descriptor.get(), contents);
  return error == 0 && isDurable ? syncFile(m_descriptor.get()) : error;
}

int NewFile::close() {
  return m_descriptor.close();
}

void NewFile::keep() {
  m_isToBeRemoved = false;
}

}  // namespace velmo::client
