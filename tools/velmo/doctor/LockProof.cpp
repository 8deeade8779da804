#include "LockProof.h"

#include <fmt/format.h>

#include <algorithm>

#include "Holder.h"
#include "OneLine.h"

namespace velmo::cli {

namespace {

// Seconds between the file's time and the start of a process, both of which depend on the clock.
// For how long the file exists on the monotonic clock cannot be known, so a clock that was set
// forward by more than the margin in between makes an old process look younger than the file.
constexpr std::time_t kRounding = 2;      // enough where the process also has no library mapped
constexpr std::time_t kClockSteps = 300;  // where the times alone decide

LockVerdict refused(std::string reason) {
  return {false, std::move(reason)};
}

std::string nameOf(const RunningProcess& process) {
  return process.name.empty()
             ? fmt::format("process {}", process.id)
             : fmt::format("process {} ({})", process.id, tools::oneLine(process.name));
}

bool isYounger(const RunningProcess& process, const LockFacts& facts, std::time_t margin) {
  return process.start && *process.start >= facts.modified + margin;
}

// Why the process may have made the lock file; empty if it cannot have.
std::string suspicion(const RunningProcess& process, const LockFacts& facts) {
  if (process.isOfKernel || isYounger(process, facts, kClockSteps)) {
    return {};
  }
  if (!process.mappedLibraries.empty()) {
    return fmt::format("{} uses {} and may have made it", nameOf(process),
                       process.mappedLibraries.front());
  }
  if (!process.isReadable) {
    return fmt::format("it is not known whether {} made it: run as root", nameOf(process));
  }
  if (!process.start) {
    return fmt::format("it is not known when {} started: run as root", nameOf(process));
  }
  return {};
}

// The first suspicion against a process for which the condition holds.
template <typename Condition>
std::string firstSuspicion(const std::vector<RunningProcess>& processes, const LockFacts& facts,
                           Condition condition) {
  for (const RunningProcess& process : processes) {
    std::string text = condition(process) ? suspicion(process, facts) : std::string();
    if (!text.empty()) {
      return text;
    }
  }
  return {};
}

LockVerdict judgeAnonymous(const LockFacts& facts, const std::vector<RunningProcess>& processes) {
  const std::string text = firstSuspicion(processes, facts, [](const auto&) { return true; });
  if (!text.empty()) {
    return refused("it names no process, and " + text);
  }
  return {true, "it names no process, and no running process can have made it"};
}

// The process that has the number, if it is known.
const RunningProcess* find(pid_t id, const std::vector<RunningProcess>& processes) {
  const auto found = std::find_if(processes.begin(), processes.end(),
                                  [id](const RunningProcess& process) { return process.id == id; });
  return found != processes.end() ? &*found : nullptr;
}

// Why the process that has the number now may be the one that made the file; empty if it is not.
std::string suspicionOfMaker(pid_t maker, const LockFacts& facts, const RunningProcess* process) {
  if (process == nullptr || !process->start) {
    return fmt::format("process {}, which made it, is running", maker);
  }
  if (!isYounger(*process, facts, kRounding)) {
    return nameOf(*process) + ", which made it, is running";
  }
  if (!process->mappedLibraries.empty()) {
    return fmt::format("{}, whose number it holds, is running and uses {}", nameOf(*process),
                       process->mappedLibraries.front());
  }
  if (!process->isReadable) {
    return fmt::format("it is not known whether {}, whose number it holds, made it: run as root",
                       nameOf(*process));
  }
  return {};
}

LockVerdict judgeMaker(pid_t maker, const LockFacts& facts,
                       const std::vector<RunningProcess>& processes) {
  if (facts.isMakerRunning) {
    const std::string text = suspicionOfMaker(maker, facts, find(maker, processes));
    if (!text.empty()) {
      return refused(text);
    }
  }
  const std::string text = firstSuspicion(
      processes, facts, [](const RunningProcess& other) { return other.isElsewhere; });
  if (!text.empty()) {
    return refused(fmt::format("process {} has ended, but {}, under another number", maker, text));
  }
  return {true, facts.isMakerRunning
                    ? fmt::format("process {}, which made it, has ended: the one that has this "
                                  "number now started later",
                                  maker)
                    : fmt::format("process {}, which made it, has ended", maker)};
}

}  // namespace

LockVerdict judge(const LockFacts& facts, const std::vector<RunningProcess>& processes) {
  if (!facts.isRegular) {
    return refused("it is not a regular file");
  }
  if (!facts.isLocal) {
    return refused("it is on a file system that other machines may use");
  }
  if (!facts.isAllVisible) {
    return refused(
        "processes that may have made it are hidden from this one: run as root, outside "
        "of a container");
  }
  if (facts.contents.empty()) {
    return judgeAnonymous(facts, processes);
  }
  const pid_t maker = client::processIdIn(facts.contents);
  if (maker == 0) {
    return refused("its contents are not the number of a process");
  }
  if (facts.contents.back() != '\n') {
    return refused("its contents may be the beginning of a longer number");
  }
  return judgeMaker(maker, facts, processes);
}

}  // namespace velmo::cli
