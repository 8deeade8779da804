// Submits tasks in a loop. A test counts its system calls.
// usage: submit_many COUNT [JOB]    without JOB every task gets a new job identifier

#include <velmo/CreateTaskFile.h>

#include <cstdlib>

int main(int argc, char** argv) {
  if (argc < 2) {
    return 2;
  }
  const int count = std::atoi(argv[1]);
  const char* jobId = argc > 2 ? argv[2] : nullptr;
  for (int i = 0; i < count; ++i) {
    if (createTaskFile("Normal", "true", nullptr, nullptr, jobId, nullptr, nullptr, 0) != 0) {
      return 1;
    }
  }
  return 0;
}
