#ifndef VELMO_STANDIN_SHELLCOMMAND_H
#define VELMO_STANDIN_SHELLCOMMAND_H

#include <string>
#include <vector>

#include "FileDescriptor.h"

namespace standin {

/// How /bin/sh is started to run a command of any length.
///
/// The kernel refuses an argument of 128 KiB or more. The shell reads a command of that length from
/// its standard input, replaces that by /dev/null, and then runs it. The exit status and what the
/// command sees are the same, but "eval: " stands in the shell's own error messages.
struct ShellCommand {
  std::vector<std::string> arguments;
  FileDescriptor input;  ///< not open: /dev/null
};

/// @throws std::system_error  when the command cannot be handed over
ShellCommand shellCommand(const std::string& command);

}  // namespace standin

#endif
