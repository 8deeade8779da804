// A program that found the package: one call of each kind, without a service.

#include <velmo/CreateTaskFile.h>
#include <velmo/IMException.h>
#include <velmo/IMProperties.h>
#include <velmo/prioritiesconfig.h>

#include <cstdio>

int main() {
  brix::imutils::IMProperties properties;
  properties.setProperty("name", "value");
  try {
    properties.getProperty(nullptr);
    return 1;
  } catch (brix::imutils::IMAssertionException& exception) {
    exception.print(stdout);
  }
  if (brix::velmo::PrioritiesConfig::Instance() == nullptr) {
    return 1;
  }
  return createTaskFile(nullptr, "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0) == 1 ? 0
                                                                                              : 1;
}
