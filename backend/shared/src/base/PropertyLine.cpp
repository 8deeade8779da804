#include "PropertyLine.h"

#include <cstring>

#include "WhiteSpace.h"

namespace brix::imutils {

char* skipWhiteSpaces(char* p) {
  if (p == nullptr) {
    return nullptr;
  }
  while (isWhiteSpace(static_cast<unsigned char>(*p))) {
    ++p;
  }
  return p;
}

char* trim(char* p) {
  char* start = skipWhiteSpaces(p);
  if (start == nullptr) {
    return nullptr;
  }
  for (char* end = start + std::strlen(start); end != start; --end) {
    if (!isWhiteSpace(static_cast<unsigned char>(end[-1]))) {
      break;
    }
    end[-1] = '\0';
  }
  return start;
}

void replaceAll(char* s, char from, char to) {
  for (; s != nullptr && *s != '\0'; ++s) {
    if (*s == from) {
      *s = to;
    }
  }
}

char* takeUntil(char*& cursor, char separator) {
  if (cursor == nullptr || separator == '\0') {
    return nullptr;
  }
  char* found = std::strchr(cursor, separator);
  if (found == nullptr) {
    return nullptr;
  }
  *found = '\0';
  char* value = trim(cursor);
  cursor = found + 1;
  return value;
}

PropertyLine splitPropertyLine(char* line) {
  char* cursor = skipWhiteSpaces(line);
  if (*cursor == '\0' || *cursor == '#') {
    return {PropertyLine::Kind::Comment};
  }
  const char* name = takeUntil(cursor, '=');
  if (name == nullptr || *name == '\0') {
    return {PropertyLine::Kind::Skipped};
  }
  replaceAll(cursor, '"', ' ');
  return {PropertyLine::Kind::Entry, name, trim(cursor)};
}

}  // namespace brix::imutils
