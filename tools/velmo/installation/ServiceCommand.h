#ifndef VELMO_SERVICECOMMAND_H
#define VELMO_SERVICECOMMAND_H

#include <string>

#include "Command.h"

namespace velmo::cli {

/// velmo service: the machines, hosts and modules of "modules.xml", and the host that clients
/// connect to.
class ServiceCommand : public Command {
 public:
  /// The word on the command line.
  static constexpr const char* kName = "service";

  explicit ServiceCommand(CommandOptions& parent);

  /// @throws Error  clients cannot connect to any host: the reason
  Status run(Session& session) override;

 private:
  bool m_isJson = false;
  std::string m_modules;
};

}  // namespace velmo::cli

#endif
