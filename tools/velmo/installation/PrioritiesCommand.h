#ifndef VELMO_PRIORITIESCOMMAND_H
#define VELMO_PRIORITIESCOMMAND_H

#include "Command.h"
#include "PriorityTable.h"

namespace velmo::cli {

/// velmo priorities: every class and adjustment, the file that it comes from, and the one whose
/// number it hides.
class PrioritiesCommand : public Command {
 public:
  /// The word on the command line.
  static constexpr const char* kName = "priorities";

  explicit PrioritiesCommand(CommandOptions& parent);

  /// @return Status::notConfigured if there is none, or if a file cannot be read
  Status run(Session& session) override;

 private:
  bool m_isJson = false;
};

}  // namespace velmo::cli

#endif
