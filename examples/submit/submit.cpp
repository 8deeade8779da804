// Submits tasks to the velmo service in C++: a job of two tasks, and a child of the first.
//
// The environment describes the installation of this machine. To try this program without a
// service:
//
//   velmo-standin -- submit
//
// With the argument "--message" it sends the tasks over a connection to the service that
// modules.xml names, on this machine or another one:
//
//   velmo-standin --port 0 -- submit --message

#include <velmo/velmo.hpp>

#include <chrono>
#include <functional>
#include <iostream>
#include <new>
#include <string>

namespace {

using namespace std::chrono_literals;

// Submits a task, one way or the other, and prints its name.
using Submit = std::function<void(const velmo::Task&)>;

void printQueued(const std::string& name) {
  std::cout << "queued " << name << '\n';
}

// Tasks that belong together have the same job.
void submitJob(const std::string& job, const Submit& submit) {
  velmo::Task collect{"Normal", "echo collect"};
  collect.job = job;
  collect.subJob = "0_report";
  submit(collect);

  velmo::Task archive{"Batch", "echo archive"};
  archive.job = job;
  archive.adjustment = "Sooner";
  submit(archive);

  velmo::Task print = collect;
  print.command = "echo print";
  print.subJob = velmo::childSubJob(collect.subJob, "print");  // 1_report_print
  submit(print);
}

void submitByFile() {
  const velmo::Installation installation;
  const velmo::Deadline deadline = 5s;  // for all calls together
  submitJob(installation.newJob(deadline), [&](const velmo::Task& task) {
    printQueued(installation.submit(task, deadline, velmo::Durability::powerCut));
  });
}

void submitByMessage() {
  velmo::Connection connection({}, 5s);
  submitJob("J12", [&](const velmo::Task& task) { printQueued(connection.send(task, 5s)); });
  connection.close(1s);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc > 1 && argv[1] == std::string("--message")) {
      submitByMessage();
    } else {
      submitByFile();
    }
    return 0;
  } catch (const velmo::InDoubt& doubt) {  // sending it again may run it twice
    std::cerr << "look before you repeat: " << doubt.what() << '\n';
    return static_cast<int>(doubt.status());
  } catch (const velmo::Error& error) {  // certainly not queued
    std::cerr << "not queued: " << error.what() << '\n';
    return static_cast<int>(error.status());
  } catch (const std::bad_alloc&) {
    std::cerr << "not queued: out of memory\n";
    return static_cast<int>(velmo::Status::outOfMemory);
  }
}
