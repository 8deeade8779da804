#ifndef VELMO_IMEXCEPTION_H
#define VELMO_IMEXCEPTION_H

/// @file
/// What the common utilities throw, and two flags.

#include <cstdio>
#include <ostream>
#include <string>

#include "Export.h"

/// A flag for the programs that load the library, false until a program sets it. The library
/// neither reads nor writes it: no behaviour of it depends on its value.
extern VELMO_EXPORT bool g_imVerbose;

/// Another flag of the same kind.
extern VELMO_EXPORT bool g_imDebug;

/// Common utilities, which know nothing of the service.
namespace brix::imutils {

/// What the common utilities throw: a numeric code, a message, and a rendering that names the kind
/// of failure.
///
/// The family is a root of its own: it does not derive from std::exception, so a handler for
/// standard exceptions does not catch it. Catch it by reference. Copies are independent; one object
/// is used by one thread at a time.
///
/// Nothing here fails on its own account; running out of memory leaves as std::bad_alloc. A null
/// text given to a constructor counts as an empty one.
class VELMO_EXPORT IMException {
 public:
  /// Code 1, message "Unknown exception".
  IMException();

  /// The given code and an empty message: the default text is not applied here.
  IMException(int code);

  /// Code 1 and a message formatted as printf does, cut to 1023 bytes. If printf fails, as it does
  /// for a text above 2 GB, the message is the part that printf wrote before.
  [[gnu::format(printf, 2, 3)]] IMException(const char* format, ...);

  /// The given code and a message formatted as printf does, cut to 1023 bytes, also if printf fails
  /// (see above). `IMException(2, "text")` calls this constructor: put a text that is not a format,
  /// and may contain a percent sign, into a std::string.
  [[gnu::format(printf, 3, 4)]] IMException(int code, const char* format, ...);

  /// The given code and a copy of the whole message.
  IMException(int code, const std::string& message);

  /// An independent copy.
  IMException(const IMException&) = default;

  /// Becomes an independent copy.
  IMException& operator=(const IMException&) = default;

  virtual ~IMException();

  /// Replaces `out` with the rendered text: a prefix for the kind, the code in square brackets, a
  /// blank and the message, for example "IO Exception: [2] Creating semaphore failed: x [No such
  /// file or directory]".
  virtual void toString(std::string& out);

  /// The rendered text in a new character array, which the caller releases with `delete[]`. Never
  /// null. Read as a C string it ends at the first NUL of the message.
  char* toString();

  /// Writes the rendered text, up to its first NUL, and a line feed to `stream`; the outcome is
  /// left in the stream's error indicator. A null stream is left alone. The stream stays the
  /// caller's.
  void print(FILE* stream);

  /// Writes the rendered text and an end of line, and flushes. The stream comes by value, so only a
  /// stream made in the call itself can be passed: `e.print(std::ostream(buffer))`.
  void print(std::ostream stream);

  /// The message alone, without prefix and code. It lives as long as this object.
  const std::string& getMessage() const;

 private:
  friend class IMTimeoutException;
  friend class IMIOException;
  friend class IMAssertionException;

  std::string m_message;
  int m_code;
};

/// A wait that ran out. Renders with the prefix "Timeout Exception: ".
class VELMO_EXPORT IMTimeoutException : public IMException {
 public:
  /// The given code and a copy of the whole message.
  IMTimeoutException(int code, const std::string& message);

  /// An independent copy.
  IMTimeoutException(const IMTimeoutException&) = default;

  /// Becomes an independent copy.
  IMTimeoutException& operator=(const IMTimeoutException&) = default;

  ~IMTimeoutException() override;

  using IMException::toString;
  void toString(std::string& out) override;
};

/// A system call that failed; the code is its `errno`. Renders with the prefix "IO Exception: ".
class VELMO_EXPORT IMIOException : public IMException {
 public:
  /// The given code and a copy of the whole message.
  IMIOException(int code, const std::string& message);

  /// An independent copy.
  IMIOException(const IMIOException&) = default;

  /// Becomes an independent copy.
  IMIOException& operator=(const IMIOException&) = default;

  ~IMIOException() override;

  using IMException::toString;
  void toString(std::string& out) override;
};

/// A condition that the caller had to meet and did not. The code is always 1 and is never shown;
/// the rendering has no prefix.
class VELMO_EXPORT IMAssertionException : public IMException {
 public:
  /// The message is the assertion line itself: "ASSERT (expression) in file at line N.".
  /// @param expression  the condition that failed, as text
  /// @param line        source line of the check
  /// @param file        source file of the check
  IMAssertionException(const char* expression, long line, const char* file);

  /// The message is a separate detail, formatted as printf does and cut to 1023 bytes. If printf
  /// fails, the detail is the part that printf wrote before.
  [[gnu::format(printf, 5, 6)]] IMAssertionException(const char* expression, long line,
                                                     const char* file, const char* format, ...);

  /// An independent copy.
  IMAssertionException(const IMAssertionException&) = default;

  /// Becomes an independent copy.
  IMAssertionException& operator=(const IMAssertionException&) = default;

  ~IMAssertionException() override;

  using IMException::toString;

  /// Replaces `out` with the assertion line and, where there is a detail, a line feed and the
  /// detail.
  void toString(std::string& out) override;

 private:
  std::string m_expression;
  std::string m_file;
  long m_line;
  bool m_hasDetail;
};

}  // namespace brix::imutils

#endif
