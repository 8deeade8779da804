#ifndef VELMO_TOOLS_CHILD_H
#define VELMO_TOOLS_CHILD_H

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velmo::tools {

/// How a process ended: with an exit status, or by a signal.
struct ChildEnd {
  bool bySignal = false;
  int number = 0;

  /// The status that a shell would report: the exit status, or 128 plus the signal.
  int shellStatus() const;
};

/// The surroundings of a child that runs in the background. A child without them shares the
/// standard streams, the working directory and the process group of this process.
struct Background {
  std::filesystem::path directory;  ///< working directory
  int output = -1;                  ///< descriptor for its standard output and error
  int input = -1;                   ///< descriptor for its standard input; -1: /dev/null
};

/// A child process. It starts with no signal blocked, SIGPIPE not ignored, and the given
/// environment. The destructor kills a child that is still running.
class Child {
 public:
  /// Starts a program, which is looked up in PATH as a shell does it.
  ///
  /// In the background it gets its own process group, so no key of the terminal reaches it, and no
  /// descriptors but the standard ones.
  /// @param arguments  the program and its arguments; not empty
  /// @throws std::system_error  naming the program, if it cannot be started
  Child(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
        const std::optional<Background>& background);

  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

  /// Checks, without waiting, whether it has ended.
  /// @return nothing while it runs
  std::optional<ChildEnd> poll();

  /// Sends it a signal, unless it has ended.
  void signal(int number);

  /// Kills it, unless it has ended; in the background with its whole process group.
  void kill();

 private:
  pid_t m_pid = -1;
  bool m_ownGroup;
  std::optional<ChildEnd> m_end;
};

}  // namespace velmo::tools

#endif
