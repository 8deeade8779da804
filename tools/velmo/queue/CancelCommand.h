#ifndef VELMO_CANCELCOMMAND_H
#define VELMO_CANCELCOMMAND_H

#include <optional>
#include <string>
#include <vector>

#include "Command.h"

namespace velmo::cli {

class TaskFinder;

/// velmo queue cancel: removes tasks that the service has not taken.
class CancelCommand : public Command {
 public:
  explicit CancelCommand(CommandOptions& parent);

  /// @return Status::notFound if a task was not in the queue; otherwise the status of the first
  ///         failure
  Status run(Session& session) override;

 private:
  void cancelListed(Session& session, const Installation& installation, TaskFinder& finder);
  void cancelOne(Session& session, const Installation& installation, TaskFinder& finder,
                 const std::string& given);
  void report(Session& session, const std::string& name, Status status, const std::string& text);

  bool m_isJson = false;
  std::vector<std::string> m_names;
  Status m_worst = Status::ok;
};

/// The name in a line: the line itself, or the field "name" of a JSON object.
/// @return nothing for an empty line, and for an object without a name
std::optional<std::string> nameInLine(const std::string& line);

}  // namespace velmo::cli

#endif
