#ifndef VELMO_DOCTORCOMMAND_H
#define VELMO_DOCTORCOMMAND_H

#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "Finding.h"
#include "Installation.h"
#include "Site.h"

namespace velmo::cli {

/// velmo doctor: looks for everything that keeps tasks from being submitted or run, and tells what
/// to do.
class DoctorCommand : public Command {
 public:
  /// The word on the command line.
  static constexpr const char* kName = "doctor";

  explicit DoctorCommand(CommandOptions& parent);

  /// @return the status of the first fault
  Status run(Session& session) override;

 private:
  std::vector<Finding> findingsIn(const Site& site, Session& session) const;
  std::string breakLock(const velmo_installation& installation) const;
  void print(const std::vector<Finding>& findings, const std::optional<std::string>& broken,
             Session& session) const;

  bool m_isJson = false;
  bool m_connects = false;
  bool m_breaksLock = false;
  std::string m_modulesFile;
};

}  // namespace velmo::cli

#endif
