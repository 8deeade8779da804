// Submits tasks to the velmo service by message: two tasks of one job, over one connection.
//
// The library finds the service in the installation's modules.xml, whose path is compiled in. A
// program that uses another file sets the path before it connects. To try this program without a
// service:
//
//   velmo-standin --port 0 -- submit_by_message

#include <velmo/SystemConfig.h>
#include <velmo/VelmoFacade.h>
#include <velmo/VelmoFacadeWS.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <string>

namespace {

// The machine and port that VelmoFacade connects to. If several hosts run the service, the last one
// counts.
std::string endpointIn(const SystemConfig& config) {
  std::string endpoint = "no host";
  for (const MachineConfig& machine : config.getMachines()) {
    for (const HostConfig& host : machine.getHosts()) {
      for (const ModuleType module : host.getModules()) {
        if (module == Velmo) {
          endpoint = machine.getHostname() + ':' + std::to_string(host.getWebSocketPort());
        }
      }
    }
  }
  return endpoint;
}

void submitTasks(VelmoFacade& service) {
  // Class, command, kind of command, adjustment, job, sub-job, job information, priority within the
  // class. The service decides what an empty text means: for velmo-standin it means none, and for
  // the job a new one. The call returns the name that the service gave the task.
  const std::string collect = service.addTask("Normal", "echo collect", TASK_SHELL_SCRIPT, "",
                                              "J12", "0_report", "#1USE=demo#1JNA=report", 0);
  std::cout << "collect: " << collect << '\n';
  const std::string notify =
      service.addTask("Urgent", "echo notify", TASK_SHELL_SCRIPT, "Later", "J12", "", "", 0);
  std::cout << "notify: " << notify << '\n';
}

void connectAndSubmit() {
  auto service = std::make_unique<VelmoFacade>();
  try {
    submitTasks(*service);
  } catch (const VelmoException&) {
    // Closing a connection that the service has broken ends the process, so this client is leaked
    // on purpose. If the service breaks the connection after its last reply, the destructor still
    // ends the process, and no catch block can stop it. A program that must survive this submits
    // from a child process: see host-safety.md in the documentation.
    static_cast<void>(service.release());
    throw;
  }
}

}  // namespace

int main() {
  if (const char* modulesXml = std::getenv("VELMO_MODULES_XML")) {
    SystemConfig::s_szModulesXml = modulesXml;
  }
  const std::string path = SystemConfig::s_szModulesXml;
  // The parser throws the same exception for a missing file and for a malformed one.
  if (!std::ifstream(path)) {
    std::cerr << "cannot read " << path << ": " << std::strerror(errno) << '\n';
    return 1;
  }
  std::string endpoint;
  try {
    endpoint = endpointIn(SystemConfig(path));
    connectAndSubmit();
    return 0;
  } catch (const VelmoException& failure) {  // not configured, not reachable, or not answered
    std::cerr << "cannot submit: " << failure.what() << " (" << path << " names " << endpoint
              << ")\n";
  } catch (const std::bad_alloc&) {
    std::cerr << "out of memory\n";
  } catch (const std::exception& failure) {
    // Programs that use the POCO headers find the reason in Poco::Exception::displayText(): the
    // file is not well-formed XML, is a directory, or has too many names.
    std::cerr << "cannot use " << path << " (" << failure.what() << "); try: xmllint --noout "
              << path << '\n';
  }
  return 1;
}
