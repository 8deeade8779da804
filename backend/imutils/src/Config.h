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

/// A configuration that reloads its properties files when one of them has changed.
///
/// A subclass fills `m_files`, sets `m_checkInterval`, and calls check() before it uses a value. It
/// overrides reset() to call the base and restore its defaults, and load() to call the base and
/// take its values out of `m_properties`. Nothing is loaded before the first check().
///
/// A copy is independent of the original. The object takes no lock: check() may replace
/// `m_properties` while another thread reads a value. velmo-properties(5) describes the files.
///
/// @par Examples
/// @code
/// class LevelConfig : private brix::imutils::Config {
///  public:
///   LevelConfig() : Config("demo.cfg") {}
///   int level() { check(); return m_level; }
///
///  private:
///   void reset() override { Config::reset(); m_level = 1; }
///   void load() override {
///     Config::load();
///     if (const char* text = m_properties.getProperty("level")) {
///       m_level = std::atoi(text);
///     }
///   }
///   int m_level = 1;
/// };
/// @endcode
class VELMO_EXPORT Config {
 public:
  /// No files.
  Config();

  /// The files of the list, in load order. An empty name counts as a file that does not exist.
  Config(const std::vector<std::string>& fileNames);

  /// One file.
  Config(const std::string& file);

  /// Empties `m_properties`.
  virtual void reset();

  /// Loads the files of `m_files`, in order, into `m_properties`. If a name occurs in several
  /// files, the last file wins. If a file cannot be opened, "Warning: error loading NAME" is
  /// written to standard error. An exception from a file is dropped. In both cases loading
  /// continues with the next file.
  virtual void load();

  virtual ~Config();

  /// Calls reset() and load() if the newest file is newer than at the last reload, and reset()
  /// alone if no file can be examined. Returns at once if the last look at the files was less than
  /// `m_checkInterval` seconds ago. Files that cannot be examined are skipped.
  ///
  /// Modification times count in whole seconds. A file that changes again within the same second,
  /// or is replaced by an older one, is not reloaded until some file becomes newer. If the newest
  /// time is 0 (the epoch) or before, nothing is loaded.
  ///
  /// Exceptions of an overridden reset() or load() pass through; the files then count as examined.
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
