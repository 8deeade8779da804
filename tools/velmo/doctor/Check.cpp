#include "Check.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>

#include "LockAttempt.h"

namespace velmo::cli {

namespace {

using client::Setting;
using client::Settings;

constexpr std::array<const char*, 23> kWords{"variables",
                                             "queue",
                                             "tmp",
                                             "data",
                                             "lock_directory",
                                             "velmo_home",
                                             "conf",
                                             "one_file_system",
                                             "home_priorities",
                                             "conf_priorities",
                                             "priorities",
                                             "server_identity",
                                             "job_counter",
                                             "job_lock",
                                             "job_counter_copy",
                                             "task_counter",
                                             "semaphore",
                                             "logout_removal",
                                             "leftovers",
                                             "queue_files",
                                             "umask",
                                             "modules",
                                             "service"};

constexpr std::array<Place, 8> kPlaces{{
    {"VAR", Check::Queue, "/taskqueue", "var", kNoTask,
     "every user of the machine can submit tasks, which the service runs"},
    {"TMP", Check::Tmp, "", "tmp", kNoTask,
     "every user of the machine can change a task before it is in the queue"},
    {"DATA", Check::Data, "/velmo", "data", kNoJob,
     "every user of the machine can change the job counter"},
    {"LOCK_VAR", Check::LockDirectory, "", "lock", kNoJob,
     "every user of the machine can lock the job counter, or break its lock"},
    {"VELMO_HOME", Check::VelmoHome, "", "home", "the priority classes in it are not known",
     "every user of the machine can change the priority classes"},
    {"CONF", Check::Conf, "", "conf",
     "the priority classes and the server's identity in it are not known",
     "every user of the machine can change priority classes and the server's identity"},
    {"SHARED_VELMO_TASKID", Check::TaskCounter, "", nullptr, kNoTask, ""},
    {"SEMAPHORE_VELMO_TASKID", Check::Semaphore, "", nullptr, kNoTask, ""},
}};

// The program has one thread, so the umask may be replaced for a moment.
mode_t currentUmask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

std::string keyText(const Setting& setting) {
  const client::Result<int> key = client::keyOf(setting);
  return key.isOk()
             ? fmt::format("key {} ({:#010x})", key.value(), static_cast<unsigned>(key.value()))
             : setting.variable;
}

std::string allVariables() {
  std::string names;
  for (const Place& place : kPlaces) {
    names += (names.empty() ? "" : ", ") + std::string(place.variable);
  }
  return names;
}

std::string pathIn(const Setting& setting, const std::string& rest) {
  return setting.value.empty() ? setting.variable : setting.value + rest;
}

std::string lockFile(const Settings& settings) {
  return settings.lockVar.value.empty()
             ? settings.lockVar.variable
             : brix::imutils::lockPath(settings.lockVar.value, "velmo_jobid").data();
}

}  // namespace

const char* wordOf(Check check) {
  return kWords.at(static_cast<std::size_t>(check));
}

std::string nameOf(Check check) {
  std::string name = wordOf(check);
  std::replace(name.begin(), name.end(), '_', ' ');
  return name;
}

const Place* placeAt(std::size_t index) {
  return index < kPlaces.size() ? &kPlaces[index] : nullptr;
}

const Place* placeOf(const std::string& variable) {
  const auto* const found = std::find_if(kPlaces.begin(), kPlaces.end(), [&](const Place& place) {
    return variable == place.variable;
  });
  return found != kPlaces.end() ? found : nullptr;
}

const Setting& settingOf(const Place& place, const Settings& settings) {
  constexpr std::array<Setting Settings::*, 8> kAll{
      &Settings::var,       &Settings::tmp,  &Settings::data,         &Settings::lockVar,
      &Settings::velmoHome, &Settings::conf, &Settings::sharedTaskId, &Settings::semaphoreTaskId};
  return settings.*kAll[static_cast<std::size_t>(&place - kPlaces.data())];
}

std::string lookedAt(Check check, const velmo_installation& installation) {
  const Settings& settings = installation.settings;
  switch (check) {
    case Check::Variables:
      return allVariables();
    case Check::Queue:
    case Check::QueueFiles:
      return pathIn(settings.var, "/taskqueue");
    case Check::Tmp:
    case Check::Leftovers:
      return pathIn(settings.tmp, "");
    case Check::Data:
      return pathIn(settings.data, "/velmo");
    case Check::LockDirectory:
      return pathIn(settings.lockVar, "");
    case Check::VelmoHome:
      return pathIn(settings.velmoHome, "");
    case Check::Conf:
      return pathIn(settings.conf, "");
    case Check::OneFileSystem:
      return pathIn(settings.tmp, "") + ", " + pathIn(settings.var, "/taskqueue");
    case Check::HomePriorities:
      return pathIn(settings.velmoHome, "/priorities.cfg");
    case Check::ConfPriorities:
      return pathIn(settings.conf, "/priorities.cfg");
    case Check::Priorities:
      return "VELMO_HOME, CONF";
    case Check::ServerIdentity:
      return pathIn(settings.conf, "/serverid.cfg");
    case Check::JobCounter:
      return pathIn(settings.data, "/velmo/jobid");
    case Check::JobLock:
      return lockFile(settings);
    case Check::JobCounterCopy:
      return pathIn(settings.data, "/velmo/jobid_tmp");
    case Check::TaskCounter:
      return keyText(settings.sharedTaskId);
    case Check::Semaphore:
      return keyText(settings.semaphoreTaskId);
    case Check::LogoutRemoval:
      return "/etc/systemd/logind.conf";
    case Check::Umask:
      return fmt::format("{:04o}", currentUmask());
    case Check::Modules:
    case Check::Service:
      break;
  }
  return {};
}

}  // namespace velmo::cli
