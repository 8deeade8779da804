// A program of a project that contains the library's source tree.

#include <velmo/CreateTaskFile.h>
#include <velmo/IMException.h>
#include <velmo/IMProperties.h>

static_assert(__cplusplus == 202002L, "the standard of this project, not the library's");

int main() {
  try {
    brix::imutils::IMProperties().getProperty(nullptr);
  } catch (const brix::imutils::IMAssertionException&) {
    return createTaskFile(nullptr, "", nullptr, nullptr, nullptr, nullptr, nullptr, 0) == 1 ? 0 : 1;
  }
  return 1;
}
