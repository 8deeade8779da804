#ifndef VELMO_SUBMITOPTIONS_H
#define VELMO_SUBMITOPTIONS_H

#include <velmo/velmo.hpp>

#include <optional>
#include <string>
#include <vector>

#include "CommandOptions.h"
#include "OptionEnd.h"
#include "TaskSender.h"

namespace velmo::cli {

/// The arguments of velmo submit.
class SubmitOptions {
 public:
  /// Declares the options.
  explicit SubmitOptions(CommandOptions& options);

  /// Takes the words of the command to submit away from the options.
  /// @throws Failure  Status::invalidArgument: a suffix could be a word of the command
  void takeWords(std::vector<std::string>& arguments);

  /// Refuses arguments that contradict each other.
  /// @throws Failure  Status::invalidArgument
  void check() const;

  /// The task that the options describe. Its command is that of the words, or empty.
  /// @throws Failure, Error  Status::invalidArgument
  Task task() const;

  /// How long a submission may wait.
  /// @throws Failure  Status::invalidArgument
  Timeout timeout() const;

  /// The service that --to or --service names. Its stop flag is null.
  /// @throws Failure  Status::invalidArgument
  Endpoint endpoint() const;

  bool isByMessage() const {
    return m_isService || m_to.has_value();
  }

  Durability durability() const {
    return m_isDurable ? Durability::powerCut : Durability::none;
  }

  /// The file that --failed names, or empty.
  std::string failedPath() const {
    return m_failed.value_or("");
  }

  bool isJson() const {
    return m_isJson;
  }
  bool isDryRun() const {
    return m_isDryRun;
  }
  bool isBulk() const {
    return m_isStdin;
  }

 private:
  void declareTask();
  void declareWait();
  void declarePlace();
  void declareBulk();
  bool isGiven(const char* option) const;
  void checkWords() const;
  std::string subJob() const;

  CommandOptions& m_options;
  SplitArguments m_split;
  std::string m_class;
  std::string m_adjustment;
  std::string m_type;
  std::string m_job;
  std::string m_subJob;
  std::vector<std::string> m_childOf;  // the parent, and perhaps a suffix
  std::string m_information;
  std::string m_relativePriority = "0";
  std::string m_timeout = "30";
  std::optional<std::string> m_to;
  std::string m_modules;
  std::optional<std::string> m_failed;
  bool m_isDurable = false;
  bool m_isService = false;
  bool m_isStdin = false;
  bool m_isDryRun = false;
  bool m_isJson = false;
};

}  // namespace velmo::cli

#endif
