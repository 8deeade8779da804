#ifndef VELMO_TEST_TERMINALPROCESS_H
#define VELMO_TEST_TERMINALPROCESS_H

#include <sys/types.h>
#include <termios.h>

#include <optional>
#include <string>
#include <vector>

namespace velmo::test {

/// The program velmo on a terminal: the standard streams of the process are a pseudo terminal with
/// TERM=xterm, without NO_COLOR. It does not outlive the object or the test program.
class TerminalProcess {
 public:
  /// Starts it.
  /// @param arguments  without the name of the program
  /// @param variables  of its environment, such as "NO_COLOR=1", beside those of this process
  TerminalProcess(const std::vector<std::string>& arguments, unsigned short columns,
                  unsigned short rows, const std::vector<std::string>& variables = {});

  TerminalProcess(const TerminalProcess&) = delete;
  TerminalProcess& operator=(const TerminalProcess&) = delete;
  ~TerminalProcess();

  /// What it has written so far.
  const std::string& output();

  /// Waits until what it writes from now on contains the text, and forgets everything up to its
  /// end.
  /// @return false if it does not within 30 seconds
  bool shows(const std::string& text);

  void type(const std::string& keys) const;
  void signal(int number) const;

  /// Changes the size of the terminal, which sends SIGWINCH.
  void resize(unsigned short columns, unsigned short rows) const;

  /// The modes of the terminal.
  termios modes() const;

  /// Waits for its end, reading what it writes.
  /// @return the exit status, or minus the signal that ended it
  /// @throws std::runtime_error  after 30 seconds
  int wait();

 private:
  bool readMore();

  int m_master = -1;
  int m_slave = -1;  // keeps the terminal when the process has ended
  pid_t m_pid = -1;
  std::string m_output{};
};

}  // namespace velmo::test

#endif
