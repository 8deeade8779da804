#include "IMProperties.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

#include "CancellationGuard.h"
#include "EntryIndex.h"
#include "IMException.h"
#include "PropertyLine.h"
#include "StdioFile.h"

namespace brix::imutils {

namespace {

constexpr const char* kSourceFile = __FILE__;

// Deliberate: fixed numbers, not the real lines. An assertion names them, and administrators find
// the failed check by its number, so they stay the same when code moves.
constexpr long kSetValueLine = 48;
constexpr long kCopyLine = 58;
constexpr long kLoadLine = 84;
constexpr long kWriteNameLine = 120;
constexpr long kWriteOpenLine = 122;
constexpr long kGetPropertyLine = 140;
constexpr long kSetPropertyNameLine = 155;
constexpr long kSetPropertyValueLine = 156;
constexpr long kRemoveLine = 172;

void assertGiven(const void* argument, const char* expression, long line) {
  if (argument == nullptr) {
    throw IMAssertionException(expression, line, kSourceFile);
  }
}

}  // namespace

IMProperty::IMProperty(const char* name, const char* value) {
  std::unique_ptr<char[]> nameCopy(copy(name));
  m_value = copy(value);
  m_name = nameCopy.release();
}

IMProperty::IMProperty(const IMProperty& other) : IMProperty(other.m_name, other.m_value) {}

IMProperty::~IMProperty() {
  delete[] m_name;
  delete[] m_value;
}

char* IMProperty::copy(const char* str) {
  assertGiven(str, "str", kCopyLine);
  const std::size_t size = std::strlen(str) + 1;
  char* result = new char[size];
  std::memcpy(result, str, size);
  return result;
}

void IMProperty::setValue(const char* value) {
  assertGiven(value, "value", kSetValueLine);
  char* newValue = copy(value);  // copied first: `value` may be the entry's own array
  delete[] m_value;
  m_value = newValue;
}

const char* IMProperty::getName() const {
  return m_name;
}

const char* IMProperty::getValue() const {
  return m_value;
}

IMProperties::IMProperties() = default;

// Delegates, so that the destructor releases the earlier copies if a later one fails.
IMProperties::IMProperties(const IMProperties& other) : IMProperties() {
  for (const IMProperty* property : other.m_list) {
    append(property->getName(), property->getValue());
  }
}

IMProperties::~IMProperties() {
  clear();
}

bool IMProperties::load(const char* filename) {
  assertGiven(filename, "filename", kLoadLine);
  const CancellationGuard guard;
  const InputFile file(filename);
  if (!file.isOpen()) {
    return false;
  }

  // On the heap: the library also runs in threads with small stacks.
  const std::unique_ptr<char[]> line(new char[kPropertyLineSize]);
  EntryIndex index(m_list);
  while (std::fgets(line.get(), kPropertyLineSize, file.stream()) != nullptr) {
    loadLine(line.get(), index);
  }
  return true;
}

void IMProperties::loadLine(char* line, EntryIndex& index) {
  const PropertyLine entry = splitPropertyLine(line);
  if (entry.kind == PropertyLine::Kind::Entry) {
    set(index.find(entry.name), entry.name, entry.value);
  }
}

bool IMProperties::write(const char* filename) {
  assertGiven(filename, "filename", kWriteNameLine);
  const CancellationGuard guard;  // a truncated file would look complete
  const Stream file(std::fopen(filename, "wb"));
  if (file == nullptr) {
    throw IMAssertionException("f", kWriteOpenLine, kSourceFile,
                               "could not open %s in IMProperties::write", filename);
  }
  // Deliberate: the results of the writes and of the close are ignored. Callers rely on true
  // whenever the file could be opened.
  for (const IMProperty* property : m_list) {
    std::fprintf(file.get(), "%s=\"%s\"\n", property->getName(), property->getValue());
  }
  return true;
}

const char* IMProperties::getProperty(const char* name) const {
  assertGiven(name, "name", kGetPropertyLine);
  const IMProperty* property = findEntry(m_list, name);
  return property != nullptr ? property->getValue() : nullptr;
}

void IMProperties::setProperty(const char* name, const char* value) {
  assertGiven(name, "name", kSetPropertyNameLine);
  assertGiven(value, "value", kSetPropertyValueLine);
  set(findEntry(m_list, name), name, value);
}

void IMProperties::set(IMProperty* property, const char* name, const char* value) {
  if (property != nullptr) {
    property->setValue(value);
    return;
  }
  append(name, value);
}

void IMProperties::remove(const char* name) {
  assertGiven(name, "name", kRemoveLine);
  // Deliberate: the entry is only unlinked, and its memory stays allocated; clear() releases it.
  // Callers may still use a value that getProperty() returned before.
  const auto position = std::find(m_list.begin(), m_list.end(), findEntry(m_list, name));
  if (position != m_list.end()) {
    m_list.erase(position);
  }
}

void IMProperties::clear() {
  for (const IMProperty* property : m_list) {
    delete property;
  }
  m_list.clear();
}

void IMProperties::append(const char* name, const char* value) {
  auto entry = std::make_unique<IMProperty>(name, value);
  m_list.push_back(entry.get());
  static_cast<void>(entry.release());  // now owned by the list
}

char* IMProperties::skipWhiteSpaces(char* p) {
  return imutils::skipWhiteSpaces(p);
}

char* IMProperties::trim(char* p) {
  return imutils::trim(p);
}

void IMProperties::replace(char* s, char from, char to) {
  replaceAll(s, from, to);
}

char* IMProperties::getNextValue(char*& cursor, char separator) {
  return takeUntil(cursor, separator);
}

}  // namespace brix::imutils
