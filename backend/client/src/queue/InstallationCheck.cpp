#include "InstallationCheck.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CounterCheck.h"
#include "GivenTask.h"
#include "LeftoverCheck.h"
#include "LinePieces.h"
#include "NewTaskName.h"

namespace velmo::client {

namespace {

void checkPriorityFile(const PriorityTable& table, std::size_t index, const Report& report) {
  const PropertiesFile& file = table.files()[index];
  if (file.failure) {
    report(*file.failure);
  }
  if (file.skippedLines > 0) {
    report({Problem::PriorityLinesSkipped, file.path, std::to_string(file.skippedLines)});
  }
  const std::string names = table.namesWithoutNumber(index);
  if (!names.empty()) {
    report({Problem::PrioritiesWithoutNumber, file.path, names});
  }
}

void checkPriorities(const PriorityTable& table, const Report& report) {
  if (table.files().empty()) {
    report({Problem::PriorityFilesNotNamed});
    return;
  }
  bool isAllRead = true;
  for (std::size_t index = 0; index < table.files().size(); ++index) {
    checkPriorityFile(table, index, report);
    isAllRead = isAllRead && !table.files()[index].failure;
  }
  if (isAllRead && table.isEmpty()) {
    report({Problem::NoPriorities, table.searched()});
  }
}

// The umask of this process, which umask() cannot tell without changing it; 0 if it is not known.
unsigned long currentUmask() {
  constexpr const char* kKey = "Umask:";
  constexpr std::size_t kKeyLength = 6;
  constexpr std::size_t kLineSize = 4096;
  const Opened status = openRegularFile("/proc/self/status");
  if (!status.descriptor.isOpen()) {
    return 0;
  }
  LinePieces lines(status.descriptor, kLineSize);
  while (const char* line = lines.next()) {
    if (std::strncmp(line, kKey, kKeyLength) == 0) {
      return std::strtoul(line + kKeyLength, nullptr, 8);
    }
  }
  return 0;
}

void checkUmask(const Report& report) {
  constexpr unsigned long kReadable = 0444;
  const unsigned long mask = currentUmask();
  if ((mask & kReadable) != 0) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04lo", mask);
    report({Problem::UmaskHidesTasks, text.data()});
  }
}

void checkIdentity(const ServerIdentity& identity, const Report& report) {
  const Result<std::string> job = identity.longestJobId();
  if (!job.isOk()) {
    report(job.fault());
  }
}

void checkPriorityNames(const PriorityTable& table, const GivenTask& task, const Report& report) {
  for (const auto& number :
       {table.classNumber(task.priorityClass),
        task.adjustment.empty() ? 0 : table.adjustmentNumber(task.adjustment)}) {
    if (!number.isOk()) {
      report(number.fault());
    }
  }
}

void checkTaskName(const velmo_installation& installation, const GivenTask& task,
                   const Report& report) {
  const Result<int> priority =
      installation.priorities.priorityOf(task.priorityClass, task.adjustment);
  if (task.job.empty() && !installation.identity.longestJobId().isOk()) {
    return;  // has been reported
  }
  if (const Outcome failure = checkNewName(
          nameOf(task, priority.isOk() ? priority.value() : 0, brix::velmo::currentTimestamp()),
          installation.identity)) {
    report(*failure);
  }
}

void checkTask(const velmo_installation& installation, const velmo_task& task,
               const Report& report) {
  const Result<GivenTask> given = readTask(&task);
  if (!given.isOk()) {
    report(given.fault());
    return;
  }
  const std::vector<Fault> mistakes = mistakesIn(given.value());
  std::for_each(mistakes.begin(), mistakes.end(), report);
  if (!given.value().priorityClass.empty()) {
    checkPriorityNames(installation.priorities, given.value(), report);
  }
  if (mistakes.empty()) {
    checkTaskName(installation, given.value(), report);
  }
}

}  // namespace

void checkInstallation(const velmo_installation& installation, const velmo_task* task,
                       const Report& report) {
  const Settings& settings = installation.settings;
  checkDirectories(settings, report);
  checkPriorities(installation.priorities, report);
  checkIdentity(installation.identity, report);
  checkJobCounter(settings, report);
  checkTaskCounter(settings, "", report);
  checkLeftovers(settings, report);
  checkUmask(report);
  if (task != nullptr) {
    checkTask(installation, *task, report);
  }
}

}  // namespace velmo::client
