// Hands tasks to the velmo service by message: two tasks of one job, over one connection.
//
// The library finds the service in the installation's modules.xml, at a place that is compiled in.
// A program that looks elsewhere says so before it connects. To try it without a service:
//
//   velmo-standin --port 0 -- submit_by_message

#include <velmo/SystemConfig.h>
#include <velmo/VelmoFacade.h>
#include <velmo/VelmoFacadeWS.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace {

void submitJob() {
  VelmoFacade service;  // connects, for as long as the object lives

  // Class, command, kind of command, adjustment, job, sub-job, job information, priority within the
  // class. An empty text stands for none; an empty job for a new one. What comes back is the name
  // that the service gave the task.
  const std::string collect = service.addTask("Normal", "echo collect", TASK_SHELL_SCRIPT, "",
                                              "J12", "0_report", "#1USE=demo#1JNA=report", 0);
  std::cout << "collect: " << collect << '\n';
  const std::string notify =
      service.addTask("Urgent", "echo notify", TASK_SHELL_SCRIPT, "Later", "J12", "", "", 0);
  std::cout << "notify: " << notify << '\n';
}

}  // namespace

int main() {
  if (const char* modulesXml = std::getenv("VELMO_MODULES_XML")) {
    SystemConfig::s_szModulesXml = modulesXml;
  }
  try {
    submitJob();
    return 0;
  } catch (const VelmoException& failure) {  // not configured, not reachable, or not answered
    std::cerr << "cannot submit: " << failure.what() << '\n';
  } catch (const std::exception& failure) {  // modules.xml cannot be read
    std::cerr << "cannot find the service: " << failure.what() << '\n';
  }
  return 1;
}
