#ifndef VELMO_SHOWCOMMAND_H
#define VELMO_SHOWCOMMAND_H

#include <string>

#include "Command.h"

namespace velmo::cli {

/// velmo queue show: everything about one task.
class ShowCommand : public Command {
 public:
  explicit ShowCommand(CommandOptions& parent);

  Status run(Session& session) override;

 private:
  bool m_isJson = false;
  std::string m_name;
};

}  // namespace velmo::cli

#endif
