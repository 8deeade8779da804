#include "IMException.h"

#include <array>
#include <cstdarg>
#include <cstring>

#include "CancellationGuard.h"

bool g_imVerbose = false;
bool g_imDebug = false;

namespace brix::imutils {

namespace {

using MessageBuffer = std::array<char, 1024>;

constexpr std::size_t kNumberBufferSize = 64;
constexpr int kDefaultCode = 1;

const char* textOrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

// Returns an array, not a string: nothing may throw between va_start and va_end. If formatting
// fails, the message is what was written before the failure.
[[gnu::format(printf, 1, 0)]] MessageBuffer formatMessage(const char* format,
                                                          va_list arguments) noexcept {
  MessageBuffer buffer{};
  if (format != nullptr) {
    std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
  }
  buffer.back() = '\0';
  return buffer;
}

std::string render(const char* prefix, int code, const std::string& message) {
  std::array<char, kNumberBufferSize> codeText{};
  std::snprintf(codeText.data(), codeText.size(), "[%d]", code);
  return prefix + std::string(codeText.data()) + " " + message;
}

std::string assertionLine(const std::string& expression, long line, const std::string& file) {
  std::array<char, kNumberBufferSize> lineText{};
  std::snprintf(lineText.data(), lineText.size(), "%ld", line);
  return "ASSERT (" + expression + ") in " + file + " at line " + lineText.data() + ".";
}

}  // namespace

IMException::IMException() : IMException(kDefaultCode, std::string("Unknown exception")) {}

// Deliberate: only the default constructor sets a default text; here the message stays empty.
// Callers that give a code print that code alone.
IMException::IMException(int code) : m_code(code) {}

IMException::IMException(const char* format, ...) : m_code(kDefaultCode) {
  va_list arguments;
  va_start(arguments, format);
  const MessageBuffer message = formatMessage(format, arguments);
  va_end(arguments);
  m_message = message.data();
}

IMException::IMException(int code, const char* format, ...) : m_code(code) {
  va_list arguments;
  va_start(arguments, format);
  const MessageBuffer message = formatMessage(format, arguments);
  va_end(arguments);
  m_message = message.data();
}

IMException::IMException(int code, const std::string& message) : m_message(message), m_code(code) {}

IMException::~IMException() = default;

// Deliberate: a capital E here, but a lower-case one in the default message. Log filters match both
// texts as they are.
void IMException::toString(std::string& out) {
  out = render("Unknown Exception: ", m_code, m_message);
}

char* IMException::toString() {
  std::string text;
  toString(text);
  char* copy = new char[text.size() + 1];
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

void IMException::print(FILE* stream) {
  if (stream == nullptr) {
    return;
  }
  const CancellationGuard guard;
  std::string text;
  toString(text);
  std::fprintf(stream, "%s\n", text.c_str());
}

void IMException::print(std::ostream stream) {
  std::string text;
  toString(text);
  stream << text << std::endl;
}

const std::string& IMException::getMessage() const {
  return m_message;
}

IMTimeoutException::IMTimeoutException(int code, const std::string& message)
    : IMException(code, message) {}

IMTimeoutException::~IMTimeoutException() = default;

void IMTimeoutException::toString(std::string& out) {
  out = render("Timeout Exception: ", m_code, m_message);
}

IMIOException::IMIOException(int code, const std::string& message) : IMException(code, message) {}

IMIOException::~IMIOException() = default;

void IMIOException::toString(std::string& out) {
  out = render("IO Exception: ", m_code, m_message);
}

IMAssertionException::IMAssertionException(const char* expression, long line, const char* file)
    : IMException(kDefaultCode),
      m_expression(textOrEmpty(expression)),
      m_file(textOrEmpty(file)),
      m_line(line),
      m_hasDetail(false) {
  m_message = assertionLine(m_expression, m_line, m_file);
}

IMAssertionException::IMAssertionException(const char* expression, long line, const char* file,
                                           const char* format, ...)
    : IMException(kDefaultCode),
      m_expression(textOrEmpty(expression)),
      m_file(textOrEmpty(file)),
      m_line(line),
      m_hasDetail(true) {
  va_list arguments;
  va_start(arguments, format);
  const MessageBuffer message = formatMessage(format, arguments);
  va_end(arguments);
  m_message = message.data();
}

IMAssertionException::~IMAssertionException() = default;

// Deliberate: an assertion shows neither a kind nor its code. Log filters find it by "ASSERT (" at
// the start.
void IMAssertionException::toString(std::string& out) {
  if (!m_hasDetail) {
    out = m_message;
    return;
  }
  out = assertionLine(m_expression, m_line, m_file) + "\n" + m_message;
}

}  // namespace brix::imutils
