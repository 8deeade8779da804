#ifndef VELMO_IMEXCEPTION_H
#define VELMO_IMEXCEPTION_H

/// @file
/// Exceptions of the common utilities, and two flags.

#include <cstdio>
#include <ostream>
#include <string>

#include "Export.h"

/// A flag for programs, false until a program sets it. The library neither reads nor writes it.
extern VELMO_EXPORT bool g_imVerbose;

/// Another flag for programs, like g_imVerbose.
extern VELMO_EXPORT bool g_imDebug;

/// Common utilities, which know nothing of the service.
namespace brix::imutils {

/// An error of the common utilities: a numeric code and a message.
///
/// The family does not derive from std::exception, so a handler for standard exceptions does not
/// catch it. Catch it by reference. One object is used by one thread at a time. A null text counts
/// as an empty one. The only exception thrown by its functions is std::bad_alloc.
///
/// A `format` and its arguments are formatted as by printf(3) and cut to 1023 bytes. If printf
/// fails, as it does above 2 GB, the text is the part written before the failure.
///
/// @par Examples
/// @code
/// try {
///   brix::imutils::IMSemaphore semaphore("report", "/run/lock", true);
///   semaphore.lock(10);
/// } catch (brix::imutils::IMTimeoutException& timeout) {
///   std::cerr << "somebody else has it: " << timeout.getMessage() << '\n';
/// } catch (brix::imutils::IMException& failure) {
///   failure.print(stderr);
/// }
/// @endcode
class VELMO_EXPORT IMException {
 public:
  /// Code 1, message "Unknown exception".
  IMException();

  /// The given code, empty message.
  IMException(int code);

  /// Code 1, formatted message.
  [[gnu::format(printf, 2, 3)]] IMException(const char* format, ...);

  /// The given code, formatted message. `IMException(2, "text")` calls this constructor: pass a
  /// text that may contain a percent sign as a std::string.
  [[gnu::format(printf, 3, 4)]] IMException(int code, const char* format, ...);

  /// The given code and a copy of the whole message.
  IMException(int code, const std::string& message);

  IMException(const IMException&) = default;             ///< An independent copy.
  IMException& operator=(const IMException&) = default;  ///< An independent copy.

  virtual ~IMException();

  /// Replaces `out` with the rendered text: a prefix for the class, the code in square brackets, a
  /// blank and the message. The prefix of this class is "Unknown Exception: ".
  virtual void toString(std::string& out);

  /// Renders the exception into a new character array, which the caller frees with `delete[]`.
  /// Never null. As a C string, it ends at the first NUL of the message.
  char* toString();

  /// Writes the rendered text, up to its first NUL, and a line feed. Errors are left in the
  /// stream's error indicator. Does nothing with a null stream.
  void print(FILE* stream);

  /// Writes the rendered text and an end of line, and flushes. The stream is passed by value, so
  /// make it in the call: `e.print(std::ostream(buffer))`.
  void print(std::ostream stream);

  /// The message alone. It lives as long as the exception.
  const std::string& getMessage() const;

 private:
  friend class IMTimeoutException;
  friend class IMIOException;
  friend class IMAssertionException;

  std::string m_message;
  int m_code;
};

/// A wait that reached its time limit. Renders with the prefix "Timeout Exception: ".
class VELMO_EXPORT IMTimeoutException : public IMException {
 public:
  /// The given code and a copy of the whole message.
  IMTimeoutException(int code, const std::string& message);

  IMTimeoutException(const IMTimeoutException&) = default;             ///< An independent copy.
  IMTimeoutException& operator=(const IMTimeoutException&) = default;  ///< An independent copy.

  ~IMTimeoutException() override;

  using IMException::toString;
  void toString(std::string& out) override;
};

/// A failed system call, whose `errno` is the code. Renders with the prefix "IO Exception: ".
class VELMO_EXPORT IMIOException : public IMException {
 public:
  /// The given code and a copy of the whole message.
  IMIOException(int code, const std::string& message);

  IMIOException(const IMIOException&) = default;             ///< An independent copy.
  IMIOException& operator=(const IMIOException&) = default;  ///< An independent copy.

  ~IMIOException() override;

  using IMException::toString;
  void toString(std::string& out) override;
};

/// A condition that the caller had to meet and did not. Renders as "ASSERT (EXPRESSION) in FILE at
/// line N."; the code is 1 and is not shown.
class VELMO_EXPORT IMAssertionException : public IMException {
 public:
  /// The message is the assertion line.
  /// @param expression  the condition that failed, as text
  /// @param line        source line of the check
  /// @param file        source file of the check
  IMAssertionException(const char* expression, long line, const char* file);

  /// The message is a detail, formatted and cut as the message of IMException(const char*, ...).
  [[gnu::format(printf, 5, 6)]] IMAssertionException(const char* expression, long line,
                                                     const char* file, const char* format, ...);

  IMAssertionException(const IMAssertionException&) = default;             ///< An independent copy.
  IMAssertionException& operator=(const IMAssertionException&) = default;  ///< An independent copy.

  ~IMAssertionException() override;

  using IMException::toString;

  /// Replaces `out` with the assertion line and, if there is a detail, a line feed and the detail.
  void toString(std::string& out) override;

 private:
  std::string m_expression;
  std::string m_file;
  long m_line;
  bool m_hasDetail;
};

}  // namespace brix::imutils

#endif
