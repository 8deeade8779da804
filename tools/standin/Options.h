#ifndef VELMO_STANDIN_OPTIONS_H
#define VELMO_STANDIN_OPTIONS_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace standin {

/// What the command line asks for.
struct Options {
  std::filesystem::path home;         ///< empty: a fresh temporary directory
  bool keep = false;                  ///< leave a temporary directory behind
  bool run = true;                    ///< run the tasks that come
  bool showOutput = false;            ///< print what the tasks write
  bool failOnTask = false;            ///< end with a failure when a task has failed
  std::optional<std::uint16_t> port;  ///< take tasks by message there; 0: a port that is free
  std::vector<std::string> command;   ///< empty: serve until interrupted
};

/// Reads the command line. Help, version and usage errors are printed here.
/// @return the options, or the exit status with which to end at once
std::variant<Options, int> parseOptions(int argc, const char* const* argv);

}  // namespace standin

#endif
