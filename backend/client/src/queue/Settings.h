#ifndef VELMO_SETTINGS_H
#define VELMO_SETTINGS_H

#include <string>

#include "Fault.h"

namespace velmo::client {

/// A directory of the installation, or a key, and the name of its variable, for the texts of
/// failures.
struct Setting {
  const char* variable;
  std::string value;  ///< empty if it is not set
};

/// Everything that the queue of a machine is described by. Copied from the caller or the
/// environment, not checked: a call that needs a setting checks it.
struct Settings {
  Setting var{"VAR", {}};
  Setting tmp{"TMP", {}};
  Setting data{"DATA", {}};
  Setting lockVar{"LOCK_VAR", {}};
  Setting velmoHome{"VELMO_HOME", {}};
  Setting conf{"CONF", {}};
  Setting sharedTaskId{"SHARED_VELMO_TASKID", {}};
  Setting semaphoreTaskId{"SEMAPHORE_VELMO_TASKID", {}};
  const volatile int* stop = nullptr;
};

/// Points the fields of `out` to the values of the variables; null for one that is not set. `stop`
/// becomes null.
void pointToEnvironment(velmo_settings& out);

/// Copies a caller's settings; those of the environment if `given` is null.
Result<Settings> takeSettings(const velmo_settings* given);

/// Refuses a setting that is not an absolute path.
Outcome checkDirectory(const Setting& setting);

/// A setting that is an absolute path.
Result<std::string> directoryOf(const Setting& setting);

/// A setting that is a decimal System V key other than 0.
Result<int> keyOf(const Setting& setting);

}  // namespace velmo::client

#endif
