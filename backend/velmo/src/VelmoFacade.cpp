#include "VelmoFacade.h"

#include <optional>

#include "Endpoint.h"
#include "GivenText.h"
#include "SystemConfig.h"

using brix::imutils::givenText;
using brix::velmo::Endpoint;
using brix::velmo::findEndpoint;

namespace {

Endpoint configuredEndpoint() {
  const SystemConfig config(givenText(SystemConfig::s_szModulesXml));
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
