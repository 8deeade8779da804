#ifndef VELMO_QUEUECOMMAND_H
#define VELMO_QUEUECOMMAND_H

#include "CancelCommand.h"
#include "Command.h"
#include "QueueOptions.h"
#include "ShowCommand.h"

namespace velmo::cli {

/// velmo queue: the tasks in the order in which the service takes them, once or as they change; and
/// the commands show and cancel.
class QueueCommand : public Command {
 public:
  /// The word on the command line.
  static constexpr const char* kName = "queue";

  explicit QueueCommand(CommandOptions& parent);

  Status run(Session& session) override;

 private:
  void declareOptions();
  void checkOptions();

  QueueOptions m_options;
  ShowCommand m_show;
  CancelCommand m_cancel;
};

}  // namespace velmo::cli

#endif
