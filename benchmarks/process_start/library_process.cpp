// Submits one task by file with createTaskFile of libvelmo, and ends.

#include <velmo/CreateTaskFile.h>

int main() {
  return createTaskFile("Normal", "true", nullptr, nullptr, "bench", nullptr, nullptr, 0);
}
