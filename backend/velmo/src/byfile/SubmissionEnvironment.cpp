#include "SubmissionEnvironment.h"

#include <sys/ipc.h>

#include <cstdlib>
#include <optional>

#include "GivenText.h"
#include "ScanInt.h"

namespace brix::velmo {

// Deliberate: an unset variable yields the text that printf writes for a null one. The call then
// fails as it does for a missing directory, and the log line with the path shows administrators
// which variable is not set.
const char* directoryFromEnvironment(const char* variable) {
  const char* directory = std::getenv(variable);
  return directory != nullptr ? directory : "(null)";
}

std::string priorityFileFromEnvironment(const char* variable) {
  return imutils::givenText(std::getenv(variable)) + std::string("/priorities.cfg");
}

EnvironmentKey keyFromEnvironment(const char* variable) {
  const char* key = std::getenv(variable);
  if (key == nullptr) {
    return {IPC_PRIVATE, Failure{Step::ReadKey, variable}};
  }
  return {imutils::scanInt(key).value_or(IPC_PRIVATE), std::nullopt};
}

}  // namespace brix::velmo
