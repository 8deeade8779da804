#include "Processes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <string_view>

#include "LinePieces.h"
#include "Listing.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kLineSize = 8192;
constexpr unsigned long kKernelThread = 0x00200000;               // in the field "flags"
constexpr std::string_view kFirstNamespace = "pid:[4026531836]";  // fixed by the kernel

std::optional<pid_t> processId(std::string_view name) {
  pid_t id = 0;
  const char* const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data(), end, id);
  return error == std::errc() && stop == end && id > 0 ? std::optional<pid_t>(id) : std::nullopt;
}

// Passes each line on, without its line feed.
// @return the errno of the failure, or 0
template <typename Take>
int readLines(const std::string& path, Take take) {
  const client::Opened file = client::openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (file.error != 0) {
    return file.error;
  }
  client::LinePieces lines(file.descriptor, kLineSize);
  while (const char* line = lines.next()) {
    const std::string_view text(line);
    take(text.substr(0, text.find('\n')));
  }
  return lines.error();
}

std::string firstLine(const std::string& path) {
  std::string line;
  bool isFirst = true;
  readLines(path, [&](std::string_view text) {
    if (isFirst) {
      line = text;
    }
    isFirst = false;
  });
  return line;
}

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

// The name of a library of this project that a line of "maps" names; empty if it names none.
std::string libraryIn(std::string_view line) {
  const std::size_t slash = line.rfind('/');
  if (slash == std::string_view::npos) {
    return {};
  }
  const std::string_view name = line.substr(slash + 1);
  const bool isOurs = startsWith(name, "libvelmo.so") || startsWith(name, "libvelmo-client.so");
  return isOurs ? std::string(name.substr(0, name.find(' '))) : std::string();
}

// The fields of "stat" behind the name, which may hold blanks and parentheses.
struct Stat {
  std::string name = {};
  char state = '?';
  unsigned long flags = 0;
  long threads = 0;
  unsigned long long startTicks = 0;
};

std::optional<Stat> parseStat(const std::string& line) {
  const std::size_t open = line.find('(');
  const std::size_t close = line.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close < open) {
    return std::nullopt;
  }
  constexpr int kFlags = 9;  // numbers of fields, from 1
  constexpr int kThreads = 20;
  constexpr int kStart = 22;
  Stat stat;
  stat.name = line.substr(open + 1, close - open - 1);
  std::istringstream fields(line.substr(close + 1));
  fields >> stat.state;
  std::string field;
  for (int number = 4; number <= kStart && fields >> field; ++number) {
    if (number == kFlags) {
      stat.flags = std::strtoul(field.c_str(), nullptr, 10);
    } else if (number == kThreads) {
      stat.threads = std::strtol(field.c_str(), nullptr, 10);
    } else if (number == kStart) {
      stat.startTicks = std::strtoull(field.c_str(), nullptr, 10);
      return stat;
    }
  }
  return std::nullopt;
}

// The second in which the machine started.
std::optional<std::time_t> startOfMachine(const std::string& root) {
  std::optional<std::time_t> start;
  constexpr std::string_view kKey = "btime ";
  readLines(root + "/stat", [&](std::string_view line) {
    if (startsWith(line, kKey)) {
      start = std::strtoll(std::string(line.substr(kKey.size())).c_str(), nullptr, 10);
    }
  });
  return start;
}

// In how many process namespaces a process has a number; 0 if it is not known.
std::size_t namespacesOf(const std::string& directory) {
  constexpr std::string_view kKey = "NSpid:";
  std::size_t count = 0;
  readLines(directory + "/status", [&](std::string_view line) {
    if (startsWith(line, kKey)) {
      std::istringstream numbers{std::string(line.substr(kKey.size()))};
      for (std::string number; numbers >> number;) {
        ++count;
      }
    }
  });
  return count;
}

void readMaps(const std::string& directory, RunningProcess& process) {
  const int error = readLines(directory + "/maps", [&](std::string_view line) {
    std::string library = libraryIn(line);
    if (!library.empty() && process.mappedLibraries.empty()) {
      process.mappedLibraries.push_back(std::move(library));
    }
  });
  process.isReadable = error == 0;
}

bool isGone(const std::string& directory) {
  return access(directory.c_str(), F_OK) != 0;
}

RunningProcess read(const std::string& directory, pid_t id, std::optional<std::time_t> boot) {
  RunningProcess process;
  process.id = id;
  const std::optional<Stat> stat = parseStat(firstLine(directory + "/stat"));
  if (stat) {
    const long ticks = sysconf(_SC_CLK_TCK);
    process.name = stat->name;
    process.isOfKernel = (stat->flags & kKernelThread) != 0;
    if (boot && ticks > 0) {
      process.start =
          *boot + static_cast<std::time_t>(stat->startTicks / static_cast<unsigned long>(ticks));
    }
  }
  process.isElsewhere = namespacesOf(directory) > 1;
  readMaps(directory, process);
  // If the first thread has ended, its maps are empty although other threads still use them.
  if (stat && stat->state == 'Z' && stat->threads > 1) {
    process.isReadable = false;
  }
  return process;
}

}  // namespace

Processes::Processes(std::string root) : m_root(std::move(root)) {}

std::vector<RunningProcess> Processes::all() const {
  const std::optional<std::time_t> boot = startOfMachine(m_root);
  std::vector<RunningProcess> processes;
  const client::DirectoryNames found = client::namesIn(m_root);
  for (const std::string& name : found.names) {
    const std::optional<pid_t> id = processId(name);
    if (!id || *id == getpid()) {
      continue;
    }
    const std::string directory = m_root + "/" + name;
    RunningProcess process = read(directory, *id, boot);
    if (!isGone(directory)) {
      processes.push_back(std::move(process));
    }
  }
  return processes;
}

bool Processes::isComplete() const {
  return namespacesOf(m_root + "/self") == 1 && parseStat(firstLine(m_root + "/1/stat"));
}

bool Processes::isWholeMachine() const {
  std::array<char, 64> target{};
  const std::string link = m_root + "/self/ns/pid";
  const ssize_t size = readlink(link.c_str(), target.data(), target.size());
  return size > 0 &&
         std::string_view(target.data(), static_cast<std::size_t>(size)) == kFirstNamespace;
}

}  // namespace velmo::cli
