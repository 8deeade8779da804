// A module that loads the library into a running program. Its functions have C linkage, so dlsym
// finds them by name.

#include <velmo/VelmoFacadeWS.h>
#include <velmo/prioritiesconfig.h>

#include <cstdlib>

// Submits `times` tasks to a peer at 127.0.0.1 that has closed the connection. Returns how many
// calls threw a VelmoException, or -1 if it cannot connect. The client is leaked: its destructor
// would end the process.
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

// Whether the object that holds it does not exist (yet, or any more).
extern "C" __attribute__((visibility("default"))) bool hasNoPriorities() {
  return brix::velmo::PrioritiesConfig::INSTANCE == nullptr;
}
