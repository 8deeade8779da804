#include "Installation.h"

#include <utility>

namespace velmo::client {

namespace {

int usableKeyOf(const Setting& setting) {
  const Result<int> key = keyOf(setting);
  return key.isOk() ? key.value() : 0;
}

}  // namespace

Result<std::unique_ptr<velmo_installation>> openInstallation(const velmo_settings* given) {
  Result<Settings> settings = takeSettings(given);
  if (!settings.isOk()) {
    return settings.fault();
  }
  auto installation = std::make_unique<velmo_installation>();
  installation->settings = std::move(settings.value());
  installation->priorities = PriorityTable(installation->settings);
  installation->identity = ServerIdentity(installation->settings);
  const Result<std::string> var = directoryOf(installation->settings.var);
  installation->queueDirectory = var.isOk() ? var.value() + "/taskqueue" : "";
  installation->segmentKey = usableKeyOf(installation->settings.sharedTaskId);
  installation->semaphoreKey = usableKeyOf(installation->settings.semaphoreTaskId);
  return installation;
}

Result<std::string> queueOf(const velmo_installation& installation) {
  const Result<std::string> var = directoryOf(installation.settings.var);
  return var.isOk() ? Result<std::string>(installation.queueDirectory) : var;
}

}  // namespace velmo::client
