#ifndef VELMO_TOOLS_FILEDESCRIPTOR_H
#define VELMO_TOOLS_FILEDESCRIPTOR_H

#include <string_view>

namespace velmo::tools {

/// A file descriptor that is closed when it goes out of scope. Negative: none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor);
  FileDescriptor(FileDescriptor&& other) noexcept;
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor();

  bool isOpen() const;

  /// The descriptor. This object still closes it.
  int get() const;

 private:
  int m_descriptor;
};

/// Writes a text to a descriptor, in as many calls as that takes. A signal does not end it.
/// @return false, with errno set, if a call fails; a part of the text may then have been written
bool writeWhole(int descriptor, std::string_view text);

}  // namespace velmo::tools

#endif
