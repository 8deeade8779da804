#ifndef VELMO_SUBMITCOMMAND_H
#define VELMO_SUBMITCOMMAND_H

#include <memory>

#include "Command.h"
#include "SubmitOptions.h"
#include "TaskSender.h"

namespace velmo::cli {

/// velmo submit: submits a task, or one for each line of standard input, by file or by message.
class SubmitCommand : public Command {
 public:
  /// The word on the command line.
  static constexpr const char* kName = "submit";

  explicit SubmitCommand(CommandOptions& parent);

  void takeWords(std::vector<std::string>& arguments) override;
  Status run(Session& session) override;

 private:
  std::unique_ptr<TaskSender> makeSender(const Session& session) const;
  Status submitOne(const Task& task, Session& session) const;
  Status submitLines(const Task& defaults, Session& session) const;
  Status showOnly(const Task& task, Session& session) const;
  Status reportFailure(const Error& failure, const std::string& name, Session& session) const;
  void printName(const std::string& name, Session& session) const;

  SubmitOptions m_options;
};

}  // namespace velmo::cli

#endif
