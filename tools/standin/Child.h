#ifndef VELMO_STANDIN_CHILD_H
#define VELMO_STANDIN_CHILD_H

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace standin {

/// How a process ended: an exit status, or the signal that ended it.
struct ChildEnd {
  bool bySignal = false;
  int number = 0;

  /// The status that a shell gives: the exit status, or 128 and the signal.
  int shellStatus() const;
};

/// What a child that works in the background is given; one without it shares the standard streams,
/// the working directory and the process group of this process.
struct Background {
  std::filesystem::path directory;  ///< working directory
  int output = -1;                  ///< descriptor for its standard output and error
  int input = -1;                   ///< descriptor for its standard input; -1: /dev/null
};

/// A process started here. It begins with no signal blocked and SIGPIPE as usual, in the given
/// environment. It does not outlive the object: one that still runs then is killed.
class Child {
 public:
  /// Starts a program, looked for in PATH as a shell does.
  ///
  /// In the background it has a process group of its own, so that no key of the terminal reaches
  /// it, and has no descriptor but the standard ones.
  /// @param arguments  the program and its arguments; not empty
  /// @throws std::system_error  with the program's name, when it cannot be started
  Child(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
        const std::optional<Background>& background);

  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

  /// Looks whether it has ended; never waits.
  /// @return nothing while it runs
  std::optional<ChildEnd> poll();

  /// Sends it a signal, if it has not ended.
  void signal(int number);

  /// Ends it at once, if it has not ended: in the background with its whole process group.
  void kill();

 private:
  pid_t m_pid = -1;
  bool m_ownGroup;
  std::optional<ChildEnd> m_end;
};

}  // namespace standin

#endif
