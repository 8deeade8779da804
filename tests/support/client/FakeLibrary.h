#ifndef VELMO_TEST_FAKELIBRARY_H
#define VELMO_TEST_FAKELIBRARY_H

#include <functional>
#include <string>
#include <vector>

#include "velmo.h"

namespace velmo::test {

/// The functions of velmo.h, which a program with FakeLibrary.cpp among its sources defines itself.
/// Each calls the member of its name here. By default all succeed; those that fill a text write
/// nothing.
struct FakeLibrary {
  std::function<velmo_status(velmo_settings*)> settingsFromEnvironment;
  std::function<velmo_status(const velmo_settings*, velmo_installation**, velmo_error*)> open;
  std::function<velmo_status(const velmo_installation*, const velmo_task*, int, unsigned, char*,
                             velmo_error*)>
      submit;
  std::function<velmo_status(const velmo_installation*, int, unsigned, char*, velmo_error*)> newJob;
  std::function<velmo_status(const velmo_installation*, const char*, const char*, int, unsigned,
                             velmo_job*, velmo_error*)>
      findJob;
  std::function<velmo_status(const char*, const char*, char*, velmo_error*)> childSubJob;
  std::function<velmo_status(const velmo_installation*, const velmo_task*, velmo_finding_fn*,
                             void*)>
      check;
  std::function<velmo_status(const velmo_installation*, velmo_listing**, velmo_error*)> list;
  std::function<velmo_status(const char*, velmo_task_name*)> parseName;
  std::function<velmo_status(const velmo_installation*, const char*, velmo_error*)> cancel;
  std::function<const char*(const velmo_installation*)> queueDirectory;
  std::function<velmo_status(const char*, char*, int*, velmo_error*)> findService;
  std::function<velmo_status(const velmo_endpoint*, int, velmo_connection**, velmo_error*)> connect;
  std::function<velmo_status(velmo_connection*, const velmo_task*, int, char*, velmo_error*)> send;
  std::function<int(const velmo_connection*)> isUsable;

  FakeLibrary();

  /// How many handles of each kind are open.
  int installations = 0;
  int connections = 0;
  int listings = 0;

  /// The timeouts of the disconnects, in their order.
  std::vector<int> disconnects;
};

/// The library of this process.
FakeLibrary& fakeLibrary();

/// Fills what a call that fails fills, and returns the status.
velmo_status failing(velmo_status status, velmo_error* error);

}  // namespace velmo::test

// What the handles hold here.
struct velmo_installation {};
struct velmo_connection {};
struct velmo_listing {
  std::vector<std::string> names;
};

#endif
