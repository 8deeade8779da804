#ifndef VELMO_PRIORITIESCONFIG_H
#define VELMO_PRIORITIESCONFIG_H

/// @file
/// The relative priority that the service's configuration gives.

#include <memory>

#include "Config.h"
#include "Export.h"

/// Parts of the library that know the service.
namespace brix::velmo {

/// The relative priority that the service's configuration gives. It is the number under
/// "RELATIVE_PRIORITY_STAT_STUDY" in VELMO_HOME/priorities.cfg; the file of that name in CONF does
/// not count here.
///
/// Use Instance(). One object serves the whole process. It takes no lock: it is used by one thread
/// at a time, Instance() included. velmo-properties(5) describes the file.
class VELMO_EXPORT PrioritiesConfig : private imutils::Config {
 public:
  /// Returns the object of the process. The first call creates it; each call brings it up to date,
  /// as imutils::Config::check() does, with at least 10 seconds between two looks at the file. It
  /// belongs to the library and lives until the process ends. Never null.
  ///
  /// A file that exists but cannot be opened is named on the standard error stream.
  /// @throws std::bad_alloc  memory runs out; a later call tries again
  static PrioritiesConfig* Instance();  // NOLINT(readability-identifier-naming): its public name

  /// Takes the directory from the environment variable VELMO_HOME, which is read here only. Not
  /// set: there is no file. Reads nothing yet; the number is -10.
  PrioritiesConfig();

  /// Forgets what was read; the number is -50.
  void reset() override;

  /// Reads the file and takes the number from it, as strtol(3) does in base 10: a text without
  /// digits is 0, text after the digits is ignored, and the lower 32 bits count. A number beyond
  /// the range of a long, and a file without the key, leave the number unchanged.
  void load() override;

  ~PrioritiesConfig() override;

  /// The number; -50 if the file or the key is missing.
  int getRelativePriorityStatStudy() const;

  /// Owns the object that Instance() returns; empty until its first call.
  static std::unique_ptr<PrioritiesConfig> INSTANCE;

 private:
  int m_relativePriorityStatStudy;
};

}  // namespace brix::velmo

#endif
