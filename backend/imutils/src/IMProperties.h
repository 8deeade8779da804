#ifndef VELMO_IMPROPERTIES_H
#define VELMO_IMPROPERTIES_H

/// @file
/// Properties files.

#include <list>

#include "Export.h"

namespace brix::imutils {

/// One name and its value. The entry owns copies of both texts; neither is ever null. Running out
/// of memory leaves as std::bad_alloc.
class VELMO_EXPORT IMProperty {
 public:
  /// Copies both texts.
  /// @throws IMAssertionException  expression "str", line 58, when either is null
  IMProperty(const char* name, const char* value);

  /// Copies both texts of the other entry.
  IMProperty(const IMProperty& other);

  IMProperty& operator=(const IMProperty&) = delete;

  ~IMProperty();

  /// A copy of `str` in a new character array, which the caller releases with `delete[]`.
  /// @throws IMAssertionException  expression "str", line 58, when `str` is null
  static char* copy(const char* str);

  /// Replaces the value by a copy of `value`, which may point into the old one.
  /// @throws IMAssertionException  expression "value", line 48, when `value` is null; the entry
  ///                               keeps its old value
  void setValue(const char* value);

  /// The name; it lives as long as the entry.
  const char* getName() const;

  /// The value; it lives until the next setValue or the end of the entry.
  const char* getValue() const;

 private:
  char* m_name = nullptr;
  char* m_value = nullptr;
};

/// The contents of a properties file: names and values in the order in which the names were first
/// added.
///
/// A file holds one `name = value` a line. White space around the name and around the value does
/// not count; the first equals sign separates them, further ones belong to the value, as do number
/// signs. Every double quote of a value reads as a blank, so `a = "x y"` gives `x y`. A line whose
/// first visible character is '#', a line without an equals sign and a line without a name are
/// passed over. There are no escapes, continuation lines or sections. A line of more than 65535
/// bytes is read in pieces of that length, each a line of its own.
///
/// Names are compared byte by byte. Look-ups are linear. The object owns its entries. It takes no
/// lock: one object is used by one thread at a time, and a file that is replaced while it is read
/// may be seen in part. Running out of memory leaves as std::bad_alloc.
class VELMO_EXPORT IMProperties {
 public:
  /// No entries.
  IMProperties();

  /// Copies every entry of the other object, in order.
  IMProperties(const IMProperties& other);

  IMProperties& operator=(const IMProperties&) = delete;

  ~IMProperties();

  /// Adds the entries of a file to those already here: a name that is known takes the newer value
  /// and keeps its place.
  /// @return false when the file cannot be opened; the entries are then as they were. A directory
  ///         opens and reads as an empty file, and a read that fails counts as the file's end.
  /// @throws IMAssertionException  expression "filename", line 84, when `filename` is null
  bool load(const char* filename);

  /// Replaces a file by these entries, one `name="value"` a line. Nothing is escaped: a double
  /// quote in a value reads back as a blank.
  ///
  /// Mind that only the opening is checked. When the disk fills up while the entries are written,
  /// the file is cut short and the result is true all the same.
  /// @return true, always
  /// @throws IMAssertionException  expression "filename", line 120, when `filename` is null;
  ///                               expression "f", line 122, with the detail "could not open %s in
  ///                               IMProperties::write", when the file cannot be opened
  bool write(const char* filename);

  /// The value of the first entry of that name, or null when there is none. The text belongs to the
  /// entry and lives until its value is changed or the entry is removed or cleared.
  /// @throws IMAssertionException  expression "name", line 140, when `name` is null
  const char* getProperty(const char* name) const;

  /// Changes the value of the first entry of that name, or appends a new entry. `value` may be a
  /// text that getProperty returned.
  /// @throws IMAssertionException  expression "name", line 155, when `name` is null; expression
  ///                               "value", line 156, when `value` is null; nothing is changed
  void setProperty(const char* name, const char* value);

  /// Takes the first entry of that name out of the list; without one, does nothing.
  ///
  /// Mind that the entry itself is not destroyed: its memory stays allocated until the process
  /// ends. A program that removes entries over and over grows; clear() does not have this trait.
  /// @throws IMAssertionException  expression "name", line 172, when `name` is null
  void remove(const char* name);

  /// Removes and destroys all entries.
  void clear();

  /// The first position at or after `p` that holds no white space, at the latest the terminating
  /// NUL. Null gives null.
  static char* skipWhiteSpaces(char* p);

  /// Cuts white space at both ends: what stands at the end is overwritten with NUL, and the
  /// position of the first other character is returned. Null gives null.
  static char* trim(char* p);

  /// Turns every `from` in the text `s` into `to`. A null text is left alone.
  static void replace(char* s, char from, char to);

  /// Splits a text at the first `separator` at or after `cursor`: overwrites it with NUL, moves
  /// `cursor` behind it and returns the trimmed text before it.
  /// @return null, `cursor` and text unchanged, when there is no separator, `cursor` is null, or
  ///         the separator is NUL
  static char* getNextValue(char*& cursor, char separator);

 private:
  IMProperty* find(const char* name) const;
  void append(const char* name, const char* value);
  void loadLine(char* line);

  std::list<IMProperty*> m_list;
};

}  // namespace brix::imutils

#endif
