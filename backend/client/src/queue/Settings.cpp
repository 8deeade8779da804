#include "Settings.h"

#include <charconv>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "GivenTask.h"
#include "InputStruct.h"

namespace velmo::client {

void pointToEnvironment(velmo_settings& out) {
  const Settings names;
  out.var = getenv(names.var.variable);
  out.tmp = getenv(names.tmp.variable);
  out.data = getenv(names.data.variable);
  out.lock_var = getenv(names.lockVar.variable);
  out.velmo_home = getenv(names.velmoHome.variable);
  out.conf = getenv(names.conf.variable);
  out.shared_velmo_taskid = getenv(names.sharedTaskId.variable);
  out.semaphore_velmo_taskid = getenv(names.semaphoreTaskId.variable);
  out.stop = nullptr;
}

Result<Settings> takeSettings(const velmo_settings* given) {
  velmo_settings environment{};
  if (given == nullptr) {
    pointToEnvironment(environment);
    given = &environment;
  } else if (Outcome failure = checkSize(given, "velmo_settings")) {
    return *std::move(failure);
  }
  Settings settings;
  settings.var.value = textOf(given->var);
  settings.tmp.value = textOf(given->tmp);
  settings.data.value = textOf(given->data);
  settings.lockVar.value = textOf(given->lock_var);
  settings.velmoHome.value = textOf(given->velmo_home);
  settings.conf.value = textOf(given->conf);
  settings.sharedTaskId.value = textOf(given->shared_velmo_taskid);
  settings.semaphoreTaskId.value = textOf(given->semaphore_velmo_taskid);
  settings.stop = given->stop;
  return settings;
}

Outcome checkDirectory(const Setting& setting) {
  if (setting.value.empty()) {
    return Fault{Problem::VariableNotSet, setting.variable};
  }
  if (setting.value.front() != '/') {
    return Fault{Problem::VariableNotAbsolute, setting.variable, setting.value};
  }
  return std::nullopt;
}

Result<std::string> directoryOf(const Setting& setting) {
  if (Outcome failure = checkDirectory(setting)) {
    return *std::move(failure);
  }
  return setting.value;
}

Result<int> keyOf(const Setting& setting) {
  const std::string& text = setting.value;
  if (text.empty()) {
    return Fault{Problem::VariableNotSet, setting.variable};
  }
  int key = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, key);
  if (error != std::errc() || stop != end || key == 0) {
    return Fault{Problem::VariableNotAKey, setting.variable, text};
  }
  return key;
}

}  // namespace velmo::client
