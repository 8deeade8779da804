#include "TaskSubmitter.h"

#include <stdlib.h>
#include <velmo/CreateTaskFile.h>

#include <system_error>

#include "PrivateFile.h"
#include "Refusal.h"

namespace fs = std::filesystem;

namespace velmo::standin {

namespace {

const char* nullIfEmpty(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

TaskFileDescriptor descriptorOf(const service::velmo::AddTaskRequest& request) {
  const bool isScript = request.tasktype() == service::velmo::ShellScript;
  return {request.prioritytype().c_str(), request.command().c_str(),
          isScript ? "sh" : "java",       nullIfEmpty(request.deltatype()),
          nullIfEmpty(request.jobid()),   nullIfEmpty(request.subjobid()),
          nullIfEmpty(request.jobinfo()), request.relpriority()};
}

// Writes the file in the temporary directory and moves it, so no program sees a part of it.
void place(const fs::path& temporaryFile, const fs::path& queueFile, const std::string& contents) {
  std::error_code ignored;  // creating the file then fails with the reason
  if (fs::exists(fs::symlink_status(queueFile, ignored)) ||
      !tools::createPrivateFile(temporaryFile, contents)) {
    throw std::system_error(std::make_error_code(std::errc::file_exists),
                            "cannot make the file " + queueFile.string());
  }
  try {
    fs::rename(temporaryFile, queueFile);
  } catch (const fs::filesystem_error&) {
    fs::remove(temporaryFile);
    throw;
  }
}

}  // namespace

TaskSubmitter::TaskSubmitter(const Installation& installation, const tools::Variables& variables,
                             UnknownClasses& unknownClasses)
    : m_unknownClasses(unknownClasses),
      m_temporaryDirectory(installation.directory() / "tmp"),
      m_queueDirectory(installation.queueDirectory()) {
  for (const auto& [name, value] : variables) {
    setenv(name.c_str(), value.c_str(), 1);
  }
  CreateTaskFile().createPriorityMap();
}

// One request at a time: two threads that generate a job identifier at once would wait for each
// other's lock file in pauses of up to a second.
std::string TaskSubmitter::submit(const service::velmo::AddTaskRequest& request) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  TaskFileDescriptor descriptor = descriptorOf(request);
  const CreateTaskFile library;
  std::string name = library.getFileName(descriptor);
  if (name.empty()) {
    throw Refusal(CloseCode::kInternal, "no task identifier");
  }
  m_unknownClasses.checkRequest(request.prioritytype(), name);  // before its file is visible
  try {
    place(m_temporaryDirectory / name, m_queueDirectory / name,
          library.getTaskContents(descriptor));
  } catch (const std::system_error& failure) {
    throw Refusal(CloseCode::kInternal, failure.what());
  }
  return name;
}

}  // namespace velmo::standin
