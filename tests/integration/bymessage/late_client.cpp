// A module that brings the library into a program that already runs. Its functions have C linkage,
// to be found by name.

#include <velmo/VelmoFacadeWS.h>
#include <velmo/prioritiesconfig.h>

#include <cstdlib>

// Submits `times` tasks to a peer at 127.0.0.1 that has gone. Returns how many ended in a
// VelmoException, -1 without a connection. The client is left: its destructor would end the
// process.
extern "C" __attribute__((visibility("default"))) int submitToNobody(unsigned short port,
                                                                     int times) {
  try {
    static VelmoFacadeWS* facade = nullptr;
    facade = new VelmoFacadeWS("127.0.0.1", port);
    int failures = 0;
    for (int i = 0; i < times; ++i) {
      try {
        facade->addTask("", "", TASK_JAVA_CLASS, "", "", "", "", 0);
      } catch (const VelmoException&) {
        ++failures;
      }
    }
    return failures;
  } catch (const VelmoException&) {
    return -1;
  }
}

// The configured relative priority.
extern "C" __attribute__((visibility("default"))) int relativePriority() {
  return brix::velmo::PrioritiesConfig::Instance()->getRelativePriorityStatStudy();
}

// Whether there is no object yet, or no object any more, that gives it.
extern "C" __attribute__((visibility("default"))) bool hasNoPriorities() {
  return brix::velmo::PrioritiesConfig::INSTANCE == nullptr;
}
