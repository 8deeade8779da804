#ifndef VELMO_LOCKPROOF_H
#define VELMO_LOCKPROOF_H

#include <sys/types.h>

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace velmo::cli {

/// What is known about a process.
struct RunningProcess {
  pid_t id = 0;
  std::string name = {};
  std::optional<std::time_t> start = {};          ///< of the process; nothing: not known
  bool isOfKernel = false;                        ///< a thread of the kernel, which uses no library
  bool isReadable = true;                         ///< whether it is known which files it has mapped
  std::vector<std::string> mappedLibraries = {};  ///< of this project, by file name
  bool isElsewhere = false;  ///< in a process namespace below this one, so under another number
};

/// What is known about a lock file, and about who could have made it.
struct LockFacts {
  bool isRegular = true;  ///< not a link, a directory, or anything else
  bool isLocal = true;    ///< on a file system of which it is known that no other machine uses it
  bool isAllVisible = true;   ///< whether no process that can have made it is hidden
  std::string contents = {};  ///< its first bytes
  std::time_t modified = 0;
  bool isMakerRunning = false;  ///< whether a process has the number in the contents
};

/// Whether a lock file is stale, and why, for people.
struct LockVerdict {
  bool isStale = false;
  std::string reason = {};
};

/// Decides whether a lock file is certainly stale. It is if it holds the number of a process that
/// has ended, or of one that started at least 2 s after the file was last changed and has no
/// library mapped; or if it is empty and no process has a library mapped that started earlier than
/// 300 s after the file was last changed. A fact that is not known proves nothing.
/// @param processes  all that run, without this one
LockVerdict judge(const LockFacts& facts, const std::vector<RunningProcess>& processes);

}  // namespace velmo::cli

#endif
