#include "VelmoFacade.h"

#include <optional>
#include <stdexcept>

#include "Endpoint.h"
#include "SystemConfig.h"

using brix::velmo::Endpoint;
using brix::velmo::findEndpoint;

namespace {

// Building a string from null is undefined on some platforms, and its text differs between
// compilers.
std::string modulesXmlPath() {
  const char* path = SystemConfig::s_szModulesXml;
  if (path == nullptr) {
    throw std::logic_error("basic_string::_M_construct null not valid");
  }
  return path;
}

Endpoint configuredEndpoint() {
  const SystemConfig config(modulesXmlPath());
  const std::optional<Endpoint> endpoint = findEndpoint(config.getMachines());
  if (!endpoint) {
    throw VelmoException("Velmo not configured in modules.xml");
  }
  return *endpoint;
}

std::unique_ptr<VelmoFacadeWS> connect(const Endpoint& endpoint) {
  return std::make_unique<VelmoFacadeWS>(endpoint.host, endpoint.port);
}

}  // namespace

VelmoFacade::VelmoFacade() : m_client(connect(configuredEndpoint())) {}

VelmoFacade::VelmoFacade(VelmoFacade&& other) noexcept = default;

VelmoFacade& VelmoFacade::operator=(VelmoFacade&& other) noexcept = default;

VelmoFacade::~VelmoFacade() = default;

std::string VelmoFacade::addTask(const std::string& priorityType, const std::string& command,
                                 TaskType taskType, const std::string& deltaType,
                                 const std::string& jobId, const std::string& subJobId,
                                 const std::string& jobInfo, int relPriority) {
  return m_client->addTask(priorityType, command, taskType, deltaType, jobId, subJobId, jobInfo,
                           relPriority);
}
