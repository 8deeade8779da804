#ifndef VELMO_PRIORITIESCONFIG_H
#define VELMO_PRIORITIESCONFIG_H

/// @file
/// The relative priority that the service's configuration gives.

#include <memory>

#include "Config.h"
#include "Export.h"

/// What knows of the service.
namespace brix::velmo {

/// The one tuning value of the service's priority scheme that callers need: the number under
/// "RELATIVE_PRIORITY_STAT_STUDY" in "priorities.cfg" of the service's home directory (VELMO_HOME).
///
/// One object serves the whole process. It is kept current by Instance(), takes no lock, and is
/// used by one thread at a time.
class VELMO_EXPORT PrioritiesConfig : private imutils::Config {
 public:
  /// The object of the process, made at the first call and brought up to date at each: at most
  /// every 10 seconds the file's modification time is looked at, and a newer file is read anew, as
  /// imutils::Config::check() does. It belongs to the library and lives until the process ends.
  ///
  /// A file that cannot be opened although it exists is named on the standard error stream.
  /// @throws std::bad_alloc  when memory runs out; a later call tries again
  static PrioritiesConfig* Instance();  // NOLINT(readability-identifier-naming): its public name

  /// Takes the file from the environment variable VELMO_HOME, which is read here and not again;
  /// unset, there is no file. The file is not read yet, and the value is -10.
  PrioritiesConfig();

  /// Forgets what was read; the value is then -50.
  void reset() override;

  /// Reads the file and takes the value from it. Converted as strtol does in base 10: text without
  /// digits is 0, text behind the digits does not count, and the result is cut to its lower 32
  /// bits. A number beyond the range of a long, and a file without the key, leave the value as it
  /// was.
  void load() override;

  ~PrioritiesConfig() override;

  /// The value; -50 when the file or the key is missing.
  int getRelativePriorityStatStudy() const;

  /// Owner of the object that Instance() returns; empty until its first call.
  static std::unique_ptr<PrioritiesConfig> INSTANCE;

 private:
  int m_relativePriorityStatStudy;
};

}  // namespace brix::velmo

#endif
