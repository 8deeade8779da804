#ifndef VELMO_STANDIN_OPTIONS_H
#define VELMO_STANDIN_OPTIONS_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Fault.h"

namespace velmo::standin {

/// The options and the command of the command line.
struct Options {
  std::filesystem::path home;               ///< empty: a fresh temporary directory
  bool keep = false;                        ///< keep the temporary directory
  bool run = true;                          ///< run the tasks that are submitted
  bool showOutput = false;                  ///< print the output of the tasks
  bool failOnTask = false;                  ///< exit with a failure if a task has failed
  std::optional<std::uint16_t> port;        ///< accept tasks by message there; 0: any free port
  std::optional<Fault> fault;               ///< fail in this way
  std::optional<std::uint32_t> faultCount;  ///< fail so often; nothing: always
  std::vector<std::string> command;         ///< empty: serve until a signal comes
};

/// Reads the command line. Help, version and usage errors are printed here.
/// @return the options, or the status with which to exit at once
std::variant<Options, int> parseOptions(int argc, const char* const* argv);

}  // namespace velmo::standin

#endif
