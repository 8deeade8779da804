#ifndef VELMO_CONFIG_H
#define VELMO_CONFIG_H

/// @file
/// Configurations that reload when their files change.

#include <sys/types.h>

#include <ctime>
#include <string>
#include <vector>

#include "Export.h"
#include "IMProperties.h"

namespace brix::imutils {

/// Base of a configuration that is fed from a list of properties files and reloaded as a whole when
/// the newest of them has changed.
///
/// A subclass fills `m_files`, sets `m_checkInterval`, overrides reset() (call the base, then
/// restore the defaults) and load() (call the base, then take the values out of `m_properties`),
/// and has check() called before its values are used. Nothing is loaded before the first check().
///
/// A copy is independent of the original. It takes no lock: check() may replace `m_properties`
/// while another thread reads a value.
class VELMO_EXPORT Config {
 public:
  /// No files.
  Config();

  /// The files of the list, in load order. An empty name is a file that cannot be examined.
  Config(const std::vector<std::string>& fileNames);

  /// One file; an empty name as above.
  Config(const std::string& file);

  /// Empties `m_properties`.
  virtual void reset();

  /// Loads every file of `m_files`, in order, into `m_properties`; where two files know a name, the
  /// later one counts. A file that cannot be opened is named on the standard error stream
  /// ("Warning: error loading " and its name); an exception from a file is dropped. Either way the
  /// next file follows.
  virtual void load();

  virtual ~Config();

  /// Looks at the files, at most once in `m_checkInterval` seconds of `time`, and calls reset() and
  /// load() when the newest of them is newer than at the last reload. When none can be examined,
  /// calls reset() alone.
  ///
  /// Modification times count in whole seconds. A file that changes again within the same second,
  /// or is replaced by an older one, is not reloaded until some file becomes newer. If the newest
  /// time is 0 (the epoch) or before, nothing is loaded: it is not newer than "nothing loaded".
  ///
  /// Empty file names and files that cannot be examined are passed over. What an overridden reset()
  /// or load() throws passes; the look at the files then counts as done.
  void check();

 protected:
  std::vector<std::string> m_files;  ///< paths, in load order
  time_t m_lastModified = 0;  ///< newest modification time at the last reload; 0: nothing loaded
  time_t m_nextCheck = 0;     ///< check() does not look at the files before this time
  long m_checkInterval = 0;   ///< seconds between two looks at the files; 0: look every time
  IMProperties m_properties;  ///< what the last load() found; empty before it and after reset()
};

}  // namespace brix::imutils

#endif
