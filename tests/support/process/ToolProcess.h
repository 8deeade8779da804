#ifndef VELMO_TEST_TOOLPROCESS_H
#define VELMO_TEST_TOOLPROCESS_H

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ChildProgram.h"
#include "TemporaryDirectory.h"

namespace velmo::test {

/// How a run of the program velmo ended.
struct ToolResult {
  int status = 0;      ///< the exit status, or minus the signal that ended it
  std::string output;  ///< standard output
  std::string errors;  ///< standard error
};

/// The program velmo as a process, with the environment of this one, but without NO_COLOR and
/// COLUMNS. It does not outlive the object or the test program.
class ToolProcess {
 public:
  /// Starts it.
  /// @param arguments  without the name of the program
  /// @param input      a file that becomes its standard input; empty: /dev/null
  explicit ToolProcess(const std::vector<std::string>& arguments,
                       const std::filesystem::path& input = {});

  ToolProcess(const ToolProcess&) = delete;
  ToolProcess& operator=(const ToolProcess&) = delete;
  ~ToolProcess() = default;

  pid_t pid() const {
    return m_program.pid();
  }

  /// What it has written so far.
  std::string output() const;
  std::string errors() const;

  void signal(int number) const {
    m_program.signal(number);
  }

  /// Whether it still runs; never waits.
  bool isRunning() {
    return m_program.isRunning();
  }

  /// Waits for its end.
  /// @throws std::runtime_error  after 60 seconds
  ToolResult wait();

 private:
  TemporaryDirectory m_directory;
  ChildProgram m_program;
};

/// Runs velmo and waits for its end.
/// @param input  its standard input
ToolResult runTool(const std::vector<std::string>& arguments, const std::string& input = {});

}  // namespace velmo::test

#endif
