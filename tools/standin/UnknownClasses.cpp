#include "UnknownClasses.h"

#include <fmt/format.h>

#include "Report.h"
#include "TaskDescription.h"

namespace velmo::standin {

namespace {

constexpr int kUnknownClassPriority = 9999;

}  // namespace

UnknownClasses::UnknownClasses(const Installation& installation) {
  for (const char* file : {"home/priorities.cfg", "conf/priorities.cfg"}) {
    m_priorities.load((installation.directory() / file).c_str());
  }
}

void UnknownClasses::checkRequest(const std::string& priorityClass, const std::string& taskFile) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_checked.insert(taskFile);
  if (m_priorities.getProperty(priorityClass.c_str()) == nullptr) {
    report(
        fmt::format("warning: a request names the priority class '{}', which is not in "
                    "priorities.cfg; its task gets the priority {}",
                    priorityClass, kUnknownClassPriority));
  }
}

void UnknownClasses::checkFile(const TaskName& name, const std::string& taskFile) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const bool isChecked = m_checked.erase(taskFile) > 0;
  if (!isChecked && name.priority == kUnknownClassPriority) {
    report(
        fmt::format("warning: {}: a priority class that is not in priorities.cfg gets the "
                    "priority {}",
                    tools::describe(name), kUnknownClassPriority));
  }
}

}  // namespace velmo::standin
