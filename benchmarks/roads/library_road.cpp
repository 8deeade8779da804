// The roads of libvelmo, as a resident process.
// usage: library_road by-file | by-file-new-job | job-hit | job-hit-max-age | by-message PORT |
//                     connection PORT
// The roads by file and of jobs need an installation, by message a service on PORT of this machine.
// DATA/velmo/jobs holds the files of the jobs.

#include <velmo/CreateTaskFile.h>
#include <velmo/JobManager.h>
#include <velmo/VelmoFacadeWS.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "resident.h"

namespace {

constexpr std::size_t kKeys = 100;
constexpr long kMaxAge = 3600;

struct Jobs {
  std::unique_ptr<JobManager> manager;
  std::vector<std::string> keys;
  std::size_t next = 0;
};

Jobs g_jobs;
unsigned short g_port = 0;
std::unique_ptr<VelmoFacadeWS> g_service;

int submit(const char* job) {
  return createTaskFile("Normal", "true", nullptr, nullptr, job, nullptr, nullptr, 0);
}

int submitWithJob() {
  return submit("J1");
}

int submitWithNewJob() {
  return submit(nullptr);
}

int findNextJob() {
  const std::string& key = g_jobs.keys[g_jobs.next];
  g_jobs.next = (g_jobs.next + 1) % kKeys;
  return g_jobs.manager->findJobInfo(key) != nullptr ? 0 : 1;
}

int addTask(VelmoFacadeWS& service) {
  return service.addTask("Normal", "true", TASK_SHELL_SCRIPT, "", "J1", "0", "", 0).empty() ? 1 : 0;
}

int addTaskToService() {
  return addTask(*g_service);
}

int connectAndAddTask() {
  VelmoFacadeWS service("127.0.0.1", g_port);
  return addTask(service);
}

int serveJobs(long maxAge) {
  const char* data = std::getenv("DATA");
  const std::string directory = std::string(data != nullptr ? data : ".") + "/velmo/jobs";
  g_jobs.manager = std::make_unique<JobManager>(directory, kKeys, maxAge, "u", "n", nullptr);
  for (std::size_t i = 0; i < kKeys; ++i) {
    g_jobs.keys.push_back("key" + std::to_string(i));
    g_jobs.manager->findJobInfo(g_jobs.keys.back());
  }
  return serve(findNextJob);
}

int serveMessages() {
  g_service = std::make_unique<VelmoFacadeWS>("127.0.0.1", g_port);
  const int status = serve(addTaskToService);
  g_service.reset();
  return status;
}

// Keeps one client until the end: the first that is destroyed shuts protocol buffers down.
int serveConnections() {
  const VelmoFacadeWS first("127.0.0.1", g_port);
  return serve(connectAndAddTask);
}

int serveRoad(const std::string& road) {
  if (road == "by-file") {
    return serve(submitWithJob);
  }
  if (road == "by-file-new-job") {
    return serve(submitWithNewJob);
  }
  if (road == "job-hit") {
    return serveJobs(0);
  }
  if (road == "job-hit-max-age") {
    return serveJobs(kMaxAge);
  }
  if (road == "by-message") {
    return serveMessages();
  }
  if (road == "connection") {
    return serveConnections();
  }
  std::cerr << "unknown road: " << road << '\n';
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: library_road ROAD [PORT]\n";
    return 2;
  }
  g_port = static_cast<unsigned short>(argc > 2 ? std::atoi(argv[2]) : 0);
  try {
    return serveRoad(argv[1]);
  } catch (const std::exception& exception) {
    std::cerr << exception.what() << '\n';
    return 1;
  }
}
