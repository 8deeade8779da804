#ifndef VELMO_CHECK_H
#define VELMO_CHECK_H

#include <string>

#include "Installation.h"

namespace velmo::cli {

/// What velmo doctor looks at, in the order in which it is printed.
enum class Check {
  Variables,
  Queue,
  Tmp,
  Data,
  LockDirectory,
  VelmoHome,
  Conf,
  OneFileSystem,
  HomePriorities,
  ConfPriorities,
  Priorities,
  ServerIdentity,
  JobCounter,
  JobLock,
  JobCounterCopy,
  TaskCounter,
  Semaphore,
  LogoutRemoval,
  Leftovers,
  QueueFiles,
  Umask,
  Modules,
  Service,
};

constexpr Check kLastCheckOfInstallation = Check::Umask;

/// What a fault keeps from being done.
constexpr const char* kNoTask = "no task can be submitted";
constexpr const char* kNoJob = "no task of a new job can be submitted";

/// The name of a check for people, such as "job counter".
std::string nameOf(Check check);

/// The name of a check in JSON, such as "job_counter".
const char* wordOf(Check check);

/// What a check of an installation looks at: a path, a key, or a value.
std::string lookedAt(Check check, const velmo_installation& installation);

/// A variable of an installation, and what depends on it.
struct Place {
  const char* variable;
  Check check;               ///< of the directory or the key
  const char* subdirectory;  ///< that is used
  const char* name;          ///< of the directory, where all are beside each other; null for a key
  const char* loss;          ///< the consequence if it is unusable
  const char* risk;          ///< the consequence if every user can write to the directory
};

/// The place of a variable; null if it is not one of an installation.
const Place* placeOf(const std::string& variable);

/// The setting that a variable is read into.
const client::Setting& settingOf(const Place& place, const client::Settings& settings);

/// All places, in the order in which they are looked at; null behind the last.
const Place* placeAt(std::size_t index);

}  // namespace velmo::cli

#endif
