#include "DryRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "GivenRequest.h"
#include "Installation.h"
#include "LibraryFault.h"
#include "NewTaskName.h"
#include "Submission.h"
#include "TaskFileName.h"

namespace velmo::cli {

namespace {

using brix::velmo::TaskFileName;
using client::GivenTask;

constexpr const char* kUnknownTime = "??????????????";
constexpr const char* kUnknownPriority = "????";

// Nothing if the class or the adjustment is not known.
std::optional<int> priorityOf(const velmo_installation& installation, const GivenTask& task) {
  const client::Result<int> number =
      installation.priorities.priorityOf(task.priorityClass, task.adjustment);
  return number.isOk() ? std::optional(number.value()) : std::nullopt;
}

// The endpoint, or the service that "modules.xml" names. Without a host: a finding says why.
Endpoint placeOf(const Endpoint& endpoint, std::vector<Error>& findings) {
  if (!endpoint.host.empty()) {
    return endpoint;
  }
  try {
    return findService(endpoint.modulesXml);
  } catch (const Error& error) {
    findings.push_back(error);
    return endpoint;
  }
}

// A new job's identifier, with a question mark for its number.
std::string newJob(const velmo_installation& installation) {
  const client::Result<std::string> job = installation.identity.jobIdOf(0);
  return job.isOk() ? job.value().substr(0, job.value().size() - 1) + "?" : "J?";
}

std::string nameWithMarks(const velmo_installation& installation, const GivenTask& task,
                          std::optional<int> priority) {
  TaskFileName parts = client::nameOf(task, priority.value_or(0), kUnknownTime);
  parts.jobId = task.job.empty() ? newJob(installation) : std::string(task.job);
  std::string name = brix::velmo::formatTaskFileName(parts);
  if (!priority) {
    name.replace(0, name.find('.'), kUnknownPriority);
  }
  const std::string before = std::string(".T") + kUnknownTime + "-";
  name.replace(name.rfind(before) + before.size(), 1, "?");  // the task's number is 0
  return name;
}

Json textOrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

std::string labelOf(std::string key) {
  std::replace(key.begin(), key.end(), '_', ' ');
  return key;
}

std::string shownNull(const std::string& key) {
  if (key == "job") {
    return "new";
  }
  const bool isUnknown = key == "priority" || key == "host" || key == "port";
  return isUnknown ? "?" : "none";
}

std::string shownValue(const std::string& key, const Json& value) {
  if (value.is_null()) {
    return shownNull(key);
  }
  return value.is_string() ? visible(value.get<std::string>()) : value.dump();
}

// Further lines of a value are below its first.
std::string fieldLine(const std::string& key, std::string value) {
  constexpr std::size_t kColumn = 19;
  for (std::size_t at = 0; (at = value.find('\n', at)) != std::string::npos; at += kColumn) {
    value.insert(++at, kColumn, ' ');
  }
  return fmt::format("{:<{}}{}\n", labelOf(key), kColumn, value);
}

std::string contentsLine(const std::string& contents) {
  std::string shown = visible(contents);
  shown.pop_back();  // the line feed behind the last \n
  return fieldLine("contents", std::move(shown));
}

}  // namespace

DryRun dryRunByFile(const Task& task) {
  const velmo_task given = detail::taskOf(task);
  const auto opened = client::openInstallation(nullptr);
  const velmo_installation& installation = *valueOf(opened);
  const auto read = client::readTask(&given);
  const GivenTask& parts = valueOf(read);
  const std::optional<int> priority = priorityOf(installation, parts);

  DryRun run;
  const std::string& queue = installation.queueDirectory;
  run.fields = {
      {"path", (queue.empty() ? "" : queue + "/") + nameWithMarks(installation, parts, priority)},
      {"priority", priority ? Json(*priority) : Json()},
      {"job", textOrNull(task.job)},
      {"sub_job", parts.subJob},
      {"relative_priority", task.relativePriority},
      {"type", parts.type}};
  run.contents = client::contentsOf(parts);
  run.findings = Installation().check(&task);
  return run;
}

DryRun dryRunByMessage(const Task& task, const Endpoint& endpoint) {
  DryRun run;
  const Endpoint found = placeOf(endpoint, run.findings);
  const velmo_task given = detail::taskOf(task);
  run.fields = {{"host", textOrNull(found.host)},
                {"port", found.host.empty() ? Json() : Json(found.port)},
                {"path", found.path.empty() ? "/velmo" : found.path},
                {"priority_class", textOrNull(task.priorityClass)},
                {"adjustment", textOrNull(task.adjustment)},
                {"job", textOrNull(task.job)},
                {"sub_job", task.subJob.empty() ? "0" : task.subJob},
                {"relative_priority", task.relativePriority},
                {"type", task.type.empty() ? "sh" : task.type},
                {"information", textOrNull(task.information)},
                {"command", task.command}};
  const auto request = client::takeRequest(&given);
  if (!request.isOk()) {
    run.findings.push_back(errorOf(request.fault()));
  }
  return run;
}

std::string textOf(const DryRun& run) {
  std::string text;
  for (const auto& [key, value] : run.fields.items()) {
    text += fieldLine(key, shownValue(key, value));
  }
  if (!run.contents.empty()) {
    text += contentsLine(run.contents);
  }
  for (const Error& finding : run.findings) {
    text += std::string("finding: ") + finding.what() + "\n";
  }
  return text;
}

Json jsonOf(const DryRun& run) {
  Json object = run.fields;
  if (!run.contents.empty()) {
    object["contents"] = run.contents;
  }
  object["findings"] = Json::array();
  for (const Error& finding : run.findings) {
    object["findings"].push_back(
        {{"status", wordOf(finding.status())}, {"message", finding.what()}});
  }
  return object;
}

std::string visible(std::string_view text) {
  std::string shown;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      shown += "\\n\n";
    } else if (character == '\\') {
      shown += "\\\\";
    } else if (byte < 0x20 || byte >= 0x7f) {
      shown += fmt::format("\\x{:02X}", byte);
    } else {
      shown += character;
    }
  }
  return shown;
}

}  // namespace velmo::cli
