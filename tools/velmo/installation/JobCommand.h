#ifndef VELMO_JOBCOMMAND_H
#define VELMO_JOBCOMMAND_H

#include <string>

#include "Command.h"
#include "Settings.h"

namespace velmo::cli {

/// velmo job: finds the job of a key, or makes it.
class JobCommand : public Command {
 public:
  /// The word on the command line.
  static constexpr const char* kName = "job";

  explicit JobCommand(CommandOptions& parent);

  Status run(Session& session) override;

 private:
  Deadline deadline() const;

  std::string m_key;
  std::string m_directory;
  Job m_ifNew;
  bool m_isDurable = false;
  double m_timeout = 30;
  bool m_isJson = false;
};

/// The directory of the job files, an absolute path.
/// @param given  what the user gave, relative to the current directory; empty: DATA/velmo/jobs
/// @param data   the setting of DATA
/// @throws Error    nothing was given, and DATA is not set, or not an absolute path
/// @throws Failure  nothing was given, and DATA has no such directory
std::string jobDirectory(const std::string& given, const client::Setting& data);

}  // namespace velmo::cli

#endif
