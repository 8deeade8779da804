#ifndef VELMO_IMPROPERTIES_H
#define VELMO_IMPROPERTIES_H

/// @file
/// Properties files.

#include <list>

#include "Export.h"

namespace brix::imutils {

class EntryIndex;

/// One name of a properties file, and its value. The entry owns copies of both texts; neither is
/// ever null. The only exceptions are IMAssertionException for a null argument and std::bad_alloc.
class VELMO_EXPORT IMProperty {
 public:
  /// Copies both texts.
  /// @throws IMAssertionException  expression "str", line 58: either is null
  IMProperty(const char* name, const char* value);

  /// Copies both texts of the other entry.
  IMProperty(const IMProperty& other);

  IMProperty& operator=(const IMProperty&) = delete;

  ~IMProperty();

  /// Copies a text into a new character array, which the caller frees with `delete[]`.
  /// @throws IMAssertionException  expression "str", line 58: `str` is null
  static char* copy(const char* str);

  /// Replaces the value by a copy of `value`, which may point into the old one.
  /// @throws IMAssertionException  expression "value", line 48: `value` is null; the entry keeps
  ///                               its old value
  void setValue(const char* value);

  /// The name. It lives as long as the entry.
  const char* getName() const;

  /// The value. It lives until the next setValue(), or the end of the entry.
  const char* getValue() const;

 private:
  char* m_name = nullptr;
  char* m_value = nullptr;
};

/// Names and values of a properties file, in the order in which the names were first added.
///
/// velmo-properties(5) describes the file. Names are compared byte by byte. A
/// lookup searches the entries in order. The object owns its entries. It takes no lock: one object
/// is used by one thread at a time. If memory runs out, its functions throw std::bad_alloc.
///
/// @par Examples
/// Set a name in a file, and keep the others:
/// @code
/// brix::imutils::IMProperties properties;
/// properties.load("demo.cfg");  // false if there is no such file
/// properties.setProperty("level", "5");
/// properties.write("demo.cfg");
/// @endcode
class VELMO_EXPORT IMProperties {
 public:
  /// No entries.
  IMProperties();

  /// Copies every entry of the other object, in order.
  IMProperties(const IMProperties& other);

  IMProperties& operator=(const IMProperties&) = delete;

  ~IMProperties();

  /// Adds the entries of a file. A name that is already there takes the new value and keeps its
  /// place. A file that is replaced during the call may be read in part.
  /// @return false if the file cannot be opened; nothing is added. A directory opens and reads as
  ///         an empty file. A read that fails counts as the end of the file.
  /// @throws IMAssertionException  expression "filename", line 84: `filename` is null
  bool load(const char* filename);

  /// Replaces a file by the entries, one `name="value"` per line. Nothing is escaped: a double
  /// quote in a value reads back as a blank. Errors after opening are ignored: on a full disk the
  /// file is truncated, and the call still returns true.
  /// @return true, always
  /// @throws IMAssertionException  expression "filename", line 120: `filename` is null. Expression
  ///                               "f", line 122, detail "could not open FILE in
  ///                               IMProperties::write": the file cannot be opened.
  bool write(const char* filename);

  /// Returns the value of the first entry with this name, or null if no entry has it. The text
  /// belongs to the entry. It lives until the value is changed, or the entry is removed or cleared.
  /// @throws IMAssertionException  expression "name", line 140: `name` is null
  const char* getProperty(const char* name) const;

  /// Changes the value of the first entry with this name, or appends an entry. `value` may be a
  /// text that getProperty() returned.
  /// @throws IMAssertionException  expression "name", line 155: `name` is null. Expression "value",
  ///                               line 156: `value` is null. Nothing is changed.
  void setProperty(const char* name, const char* value);

  /// Removes the first entry with this name, if any, from the list. The entry is not freed, so a
  /// program that keeps removing entries leaks memory. clear() frees its entries.
  /// @throws IMAssertionException  expression "name", line 172: `name` is null
  void remove(const char* name);

  /// Removes and frees all entries.
  void clear();

  /// Returns the position of the first character at or after `p` that is not white space, or of the
  /// terminating NUL if all are. Returns null if `p` is null.
  static char* skipWhiteSpaces(char* p);

  /// Removes white space at both ends, in place: overwrites trailing white space with NUL and
  /// returns the position of the first other character. Returns null if `p` is null.
  static char* trim(char* p);

  /// Replaces every `from` in the text by `to`, in place. Does nothing with a null text.
  static void replace(char* s, char from, char to);

  /// Splits a text in place at the first `separator` at or after `cursor`. Overwrites the separator
  /// with NUL and moves `cursor` past it.
  /// @return the trimmed text before the separator. Null, and nothing is changed, if there is no
  ///         separator, the separator is NUL, or `cursor` is null.
  static char* getNextValue(char*& cursor, char separator);

 private:
  void set(IMProperty* property, const char* name, const char* value);
  void append(const char* name, const char* value);
  void loadLine(char* line, EntryIndex& index);

  std::list<IMProperty*> m_list;
};

}  // namespace brix::imutils

#endif
