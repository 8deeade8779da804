// Submits one task by file with velmo.hpp, and ends.

#include <velmo/velmo.hpp>

#include <chrono>
#include <cstdio>

int main() {
  try {
    velmo::Task task;
    task.priorityClass = "Normal";
    task.command = "true";
    task.job = "bench";
    velmo::Installation().submit(task, std::chrono::seconds(10));
    return 0;
  } catch (const velmo::Error& error) {
    std::fprintf(stderr, "client_process: %s\n", error.what());
    return static_cast<int>(error.status());
  }
}
