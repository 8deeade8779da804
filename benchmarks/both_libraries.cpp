// Threads that submit with libvelmo-client beside processes that submit with libvelmo, over one
// installation. Prints how long it took, and fails if a task or a job number is missing or was
// issued twice.
//
// usage: velmo-standin --no-run -- both_libraries [THREADS [PROCESSES [TASKS_OF_EACH]]]

#include <sys/wait.h>
#include <unistd.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/velmo.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Every tenth task gets a new job.
constexpr int kTasksOfAJob = 10;

struct Numbers {
  int threads = 16;
  int processes = 8;
  int tasks = 10000;
};

int submitWithOldLibrary(int tasks) {
  int failures = 0;
  for (int i = 0; i < tasks; ++i) {
    const char* job = i % kTasksOfAJob == 0 ? nullptr : "old";
    failures +=
        createTaskFile("Normal", "true", nullptr, nullptr, job, nullptr, nullptr, 0) == 0 ? 0 : 1;
  }
  return failures;
}

std::vector<pid_t> startOldProcesses(const Numbers& numbers) {
  std::vector<pid_t> processes;
  for (int i = 0; i < numbers.processes; ++i) {
    const pid_t process = fork();
    if (process == 0) {
      _exit(submitWithOldLibrary(numbers.tasks) == 0 ? 0 : 1);
    }
    processes.push_back(process);
  }
  return processes;
}

void submitWithNewLibrary(const velmo::Installation& installation, int tasks) {
  velmo::Task task;
  task.priorityClass = "Normal";
  task.command = "true";
  for (int i = 0; i < tasks; ++i) {
    task.job = i % kTasksOfAJob == 0 ? "" : "new";
    installation.submit(task, velmo::Deadline::never());
  }
}

int waitFor(const std::vector<pid_t>& processes) {
  int failed = 0;
  for (const pid_t process : processes) {
    int status = 0;
    waitpid(process, &status, 0);
    failed += status == 0 ? 0 : 1;
  }
  return failed;
}

// Whether the queue has so many tasks, with as many numbers, and no job number twice.
bool isComplete(const velmo::Installation& installation, std::size_t expected) {
  std::set<int> tasks;
  std::set<std::string> jobs;
  std::size_t newJobs = 0;
  const std::vector<std::string> names = installation.list();
  for (const std::string& name : names) {
    const auto parts = velmo::parseName(name);
    tasks.insert(parts->task);
    if (parts->job != "old" && parts->job != "new") {
      jobs.insert(parts->job);
      ++newJobs;
    }
  }
  std::cout << "tasks in the queue: " << names.size() << " of " << expected
            << ", different numbers: " << tasks.size() << "\nnew jobs: " << newJobs
            << ", different identifiers: " << jobs.size() << '\n';
  return names.size() == expected && tasks.size() == expected && jobs.size() == newJobs;
}

Numbers numbersFrom(int count, char** arguments) {
  Numbers numbers;
  numbers.threads = count > 1 ? std::atoi(arguments[1]) : numbers.threads;
  numbers.processes = count > 2 ? std::atoi(arguments[2]) : numbers.processes;
  numbers.tasks = count > 3 ? std::atoi(arguments[3]) : numbers.tasks;
  return numbers;
}

// @return whether every task is queued once
bool submitWithBoth(const Numbers& numbers) {
  const Clock::time_point start = Clock::now();
  const std::vector<pid_t> processes = startOldProcesses(numbers);
  const velmo::Installation installation;
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(numbers.threads));
  for (int i = 0; i < numbers.threads; ++i) {
    threads.emplace_back(submitWithNewLibrary, std::cref(installation), numbers.tasks);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const int failed = waitFor(processes);
  const std::chrono::duration<double> took = Clock::now() - start;
  std::cout << numbers.threads << " threads and " << numbers.processes << " processes, "
            << numbers.tasks << " tasks each: " << took.count() << " s\n"
            << "processes that failed: " << failed << '\n';
  const auto expected = static_cast<std::size_t>(numbers.threads + numbers.processes) *
                        static_cast<std::size_t>(numbers.tasks);
  return isComplete(installation, expected) && failed == 0;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return submitWithBoth(numbersFrom(count, arguments)) ? 0 : 1;
  } catch (const std::exception& failure) {
    std::cerr << "both_libraries: " << failure.what() << '\n';
    return 1;
  }
}
