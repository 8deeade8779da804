#include "LockProof.h"

#include <fmt/format.h>

#include <algorithm>

#include "Holder.h"
#include "OneLine.h"

namespace velmo::cli {

namespace {

constexpr std::time_t kRounding = 2;  // seconds: of the start of a process, and of the file's time

LockVerdict refused(std::string reason) {
  return {false, std::move(reason)};
}

std::string nameOf(const RunningProcess& process) {
  return process.name.empty()
             ? fmt::format("process {}", process.id)
             : fmt::format("process {} ({})", process.id, tools::oneLine(process.name));
}

bool isYounger(const RunningProcess& process, const LockFacts& facts) {
  return process.start && *process.start >= facts.modified + kRounding;
}

// Why the process may have made the lock file; empty if it cannot have.
std::string suspicion(const RunningProcess& process, const LockFacts& facts) {
  if (process.isOfKernel || isYounger(process, facts)) {
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

// Of the processes to which the condition applies.
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

LockVerdict judgeMaker(pid_t maker, const LockFacts& facts,
                       const std::vector<RunningProcess>& processes) {
  const RunningProcess* const process = find(maker, processes);
  if (facts.isMakerRunning && (process == nullptr || !process->start)) {
    return refused(fmt::format("process {}, which made it, is running", maker));
  }
  if (facts.isMakerRunning && !isYounger(*process, facts)) {
    return refused(nameOf(*process) + ", which made it, is running");
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
  return judgeMaker(maker, facts, processes);
}

}  // namespace velmo::cli
