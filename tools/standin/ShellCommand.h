#ifndef VELMO_STANDIN_SHELLCOMMAND_H
#define VELMO_STANDIN_SHELLCOMMAND_H

#include <string>
#include <vector>

#include "FileDescriptor.h"

namespace velmo::standin {

/// The arguments and the standard input with which /bin/sh runs a command of any length.
///
/// The kernel refuses an argument of 128 KiB or more. A command of that length is read by the shell
/// from standard input, which it then replaces by /dev/null before it runs the command. The exit
/// status and the command's surroundings are the same, but the shell's own error messages contain
/// "eval: ".
struct ShellCommand {
  std::vector<std::string> arguments;
  tools::FileDescriptor input;  ///< not open: /dev/null
};

/// @throws std::system_error  if the command cannot be passed to the shell
ShellCommand shellCommand(const std::string& command);

}  // namespace velmo::standin

#endif
