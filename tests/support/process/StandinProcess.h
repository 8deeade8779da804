#ifndef VELMO_TEST_STANDINPROCESS_H
#define VELMO_TEST_STANDINPROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ChildProgram.h"
#include "Environment.h"
#include "TemporaryDirectory.h"

namespace velmo::test {

/// Polls until `condition` holds.
/// @return false if it does not hold within 30 seconds
bool waitUntil(const std::function<bool()>& condition);

/// The text of a file; empty when it cannot be read.
std::string textOf(const std::filesystem::path& path);

/// A task file that a test writes: created 2025-03-03 14:05:09, job J12, sub-job 0,
/// relative 2.
struct TestTask {
  int priority = 0;
  int taskId = 0;
  std::string type = "sh";

  std::string fileName() const;

  /// Its fields as velmo-standin reports them, behind the program's name.
  std::string description() const;

  /// The line that reports its run with an outcome such as "exit 0". The installation is one that
  /// is not removed at the end.
  std::string ranLine(const std::string& outcome, const std::filesystem::path& home) const;
};

/// Puts a file into the queue of an installation as callers do: writes it elsewhere and moves it.
void queueFile(const std::filesystem::path& home, const std::string& name,
               const std::string& contents);

/// A shell command that waits until a file is there.
std::string waitForFile(const std::filesystem::path& file);

/// Arguments for an installation in this directory, with others behind them.
std::vector<std::string> inHome(const std::filesystem::path& home,
                                std::vector<std::string> others = {});

/// Arguments that make a script the COMMAND.
std::vector<std::string> shell(const std::string& script);

/// The port that a modules.xml names.
std::uint16_t portIn(const std::filesystem::path& modulesFile);

/// velmo-standin as a process. A temporary directory is its TMPDIR and receives its output.
///
/// The process does not outlive the object: the destructor ends it with SIGTERM, then with SIGKILL.
/// It does not outlive the test program either.
class StandinProcess {
 public:
  /// Starts it with these arguments. If they contain no "--", it serves, and the constructor waits
  /// until it has printed its environment and is ready.
  /// @param umask  umask of the process
  /// @throws std::runtime_error  with its output, if it ends before that
  explicit StandinProcess(const std::vector<std::string>& arguments = {}, mode_t umask = 022);

  StandinProcess(const StandinProcess&) = delete;
  StandinProcess& operator=(const StandinProcess&) = delete;
  ~StandinProcess();

  pid_t pid() const;

  /// The TMPDIR of the process, where it creates its temporary installation.
  const std::filesystem::path& temporaryDirectory() const;

  /// The variables it printed.
  const std::map<std::string, std::string>& environment() const;

  /// The number in a variable that it printed.
  int key(const std::string& variable) const;

  /// The directory of its installation.
  std::filesystem::path home() const;

  /// The port it listens on, as its modules.xml says.
  std::uint16_t port() const;

  /// Sets the variables it printed in this process, until the object is destroyed.
  void applyEnvironment();

  /// Its standard output and standard error so far.
  std::string output() const;
  std::string errors() const;

  void signal(int number) const;

  /// Whether it still runs; never waits.
  bool isRunning();

  /// Waits for its end.
  /// @return the exit status, or minus the signal that ended it
  /// @throws std::runtime_error  after 30 seconds
  int wait();

  /// Asks it to end with SIGTERM and waits.
  int end();

 private:
  void start(const std::vector<std::string>& arguments, mode_t umask);
  void readEnvironment();

  TemporaryDirectory m_directory;
  ChildProgram m_program;
  std::map<std::string, std::string> m_environment;
  Environment m_applied;
};

}  // namespace velmo::test

#endif
