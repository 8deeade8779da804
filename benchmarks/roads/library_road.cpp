// The roads of libvelmo, as a resident process.
// usage: library_road by-file | by-file-10mb | by-file-new-job | by-file-new-job-seeded |
//                     job-number | job-hit | job-hit-max-age | job-miss JOBS |
//                     job-miss-full JOBS | properties LINES | by-message PORT |
//                     by-message-unblocked PORT | connection PORT
// The roads by file and of jobs need an installation, by message a service on PORT of this machine.
// DATA/velmo/jobs holds the files of the jobs. "job-miss" looks up jobs that only their files know,
// in a registry that holds JOBS jobs and has room for more; "job-miss-full" in one without room.
// "by-message-unblocked" runs in a thread that does not block SIGPIPE, unlike the thread that has
// loaded the networking library.

#include <pthread.h>
#include <unistd.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/IMProperties.h>
#include <velmo/JobManager.h>
#include <velmo/VelmoFacadeWS.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "large_command.h"
#include "resident.h"

namespace {

constexpr std::size_t kKeys = 100;
constexpr std::size_t kMisses = 2000;
constexpr long kMaxAge = 3600;

struct Jobs {
  std::unique_ptr<JobManager> manager;
  std::vector<std::string> keys;
  std::size_t next = 0;
};

Jobs g_jobs;
unsigned short g_port = 0;
std::unique_ptr<VelmoFacadeWS> g_service;
std::string g_propertiesFile;

int submit(const char* job, const char* command = "true") {
  return createTaskFile("Normal", command, nullptr, nullptr, job, nullptr, nullptr, 0);
}

int submitLarge() {
  return submit("J1", large_command());
}

int drawJobNumber() {
  const std::unique_ptr<char[]> job(generateJobID());
  return job[0] != '\0' ? 0 : 1;
}

int submitWithJob() {
  return submit("J1");
}

int submitWithNewJob() {
  return submit(nullptr);
}

int findNextJob() {
  const std::string& key = g_jobs.keys[g_jobs.next];
  g_jobs.next = (g_jobs.next + 1) % g_jobs.keys.size();
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

std::string jobDirectory() {
  const char* data = std::getenv("DATA");
  return std::string(data != nullptr ? data : ".") + "/velmo/jobs";
}

int serveJobs(long maxAge) {
  const std::string directory = jobDirectory();
  g_jobs.manager = std::make_unique<JobManager>(directory, kKeys, maxAge, "u", "n", nullptr);
  for (std::size_t i = 0; i < kKeys; ++i) {
    g_jobs.keys.push_back("key" + std::to_string(i));
    g_jobs.manager->findJobInfo(g_jobs.keys.back());
  }
  return serve(findNextJob);
}

// The files of the registry's jobs, and of the jobs that are missed: each is looked up once.
void writeJobFiles(const std::string& directory, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    g_jobs.keys.push_back("key" + std::to_string(i));
    std::ofstream(directory + "/" + g_jobs.keys.back()) << "id=\"J1\"\npriority=\"0\"\n";
  }
}

int serveMisses(std::size_t jobs, std::size_t room) {
  const std::string directory = jobDirectory();
  writeJobFiles(directory, jobs + kMisses);
  g_jobs.manager = std::make_unique<JobManager>(directory, jobs + room, 0, "u", "n", nullptr);
  for (std::size_t i = 0; i < jobs; ++i) {
    findNextJob();
  }
  return serve(findNextJob);
}

int loadProperties() {
  brix::imutils::IMProperties properties;
  return properties.load(g_propertiesFile.c_str()) ? 0 : 1;
}

int serveProperties(std::size_t lines) {
  g_propertiesFile = jobDirectory() + "/lines.cfg";
  std::ofstream file(g_propertiesFile);
  for (std::size_t i = 0; i < lines; ++i) {
    file << "name" << i << " = value" << i << '\n';
  }
  file.close();
  return serve(loadProperties);
}

int serveMessages() {
  g_service = std::make_unique<VelmoFacadeWS>("127.0.0.1", g_port);
  const int status = serve(addTaskToService);
  g_service.reset();
  return status;
}

int serveMessagesUnblocked() {
  sigset_t sigPipe{};
  sigemptyset(&sigPipe);
  sigaddset(&sigPipe, SIGPIPE);
  pthread_sigmask(SIG_UNBLOCK, &sigPipe, nullptr);
  return serveMessages();
}

// Keeps one client until the end: the first that is destroyed shuts protocol buffers down.
int serveConnections() {
  const VelmoFacadeWS first("127.0.0.1", g_port);
  return serve(connectAndAddTask);
}

int serveFiles(const std::string& road) {
  if (road == "by-file") {
    return serve(submitWithJob);
  }
  if (road == "by-file-10mb") {
    return serve(submitLarge);
  }
  if (road == "job-number") {
    return serve(drawJobNumber);
  }
  if (road == "by-file-new-job-seeded") {
    std::srand(static_cast<unsigned>(getpid()));
  }
  return serve(submitWithNewJob);
}

int serveRoad(const std::string& road, std::size_t argument) {
  if (road.rfind("by-file", 0) == 0 || road == "job-number") {
    return serveFiles(road);
  }
  if (road == "job-hit") {
    return serveJobs(0);
  }
  if (road == "job-hit-max-age") {
    return serveJobs(kMaxAge);
  }
  if (road == "job-miss") {
    return serveMisses(argument, kMisses);
  }
  if (road == "job-miss-full") {
    return serveMisses(argument, 0);
  }
  if (road == "properties") {
    return serveProperties(argument);
  }
  if (road == "by-message") {
    return serveMessages();
  }
  if (road == "by-message-unblocked") {
    return serveMessagesUnblocked();
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
    std::cerr << "usage: library_road ROAD [PORT | JOBS | LINES]\n";
    return 2;
  }
  const unsigned long argument = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 0;
  g_port = static_cast<unsigned short>(argument);
  try {
    return serveRoad(argv[1], argument);
  } catch (const std::exception& exception) {
    std::cerr << exception.what() << '\n';
    return 1;
  }
}
