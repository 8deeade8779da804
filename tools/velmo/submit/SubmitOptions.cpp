#include "SubmitOptions.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "CommandText.h"
#include "HostPort.h"
#include "OneLine.h"
#include "ParseNumber.h"
#include "Refusal.h"

namespace velmo::cli {

namespace {

constexpr double kLongestTimeout = 2000000;  // seconds; milliseconds fit into an int
constexpr const char* kChildOf = "--child-of";

[[noreturn]] void refuseValue(const std::string& option, const std::string& value,
                              const char* what) {
  refuse(option + " \"" + tools::oneLine(value) + "\": " + what);
}

[[noreturn]] void refuseChild() {
  refuse("put -- before the command if --child-of is given");
}

std::ptrdiff_t countOf(const std::string& option, const std::vector<GivenOption>& given) {
  return std::count_if(given.begin(), given.end(),
                       [&option](const GivenOption& each) { return each.name == option; });
}

}  // namespace

SubmitOptions::SubmitOptions(CommandOptions& options) : m_options(options) {
  declareTask();
  declareWait();
  declarePlace();
  declareBulk();
  m_options.addFlag(
      "--dry-run", m_isDryRun,
      "show what would be written or sent, and what would make it fail, and do nothing");
  m_options.addFlag("--json", m_isJson, "print objects, one a line");
}

void SubmitOptions::declareTask() {
  const auto text = [this](const char* names, std::string& value, const char* value_name,
                           const char* description) {
    return m_options.addText(names, value, description).valueName(value_name);
  };
  text("-p,--class", m_class, "CLASS", "priority class; required");
  text("-d,--adjustment", m_adjustment, "NAME", "priority adjustment, added to that of the class");
  text("-t,--type", m_type, "TYPE", "kind of command; default sh");
  text("-j,--job", m_job, "JOB", "job to which the task belongs; default a new one");
  const DeclaredOption subJobOption =
      text("-s,--sub-job", m_subJob, "SUBJOB", "part of the job; default 0");
  m_options
      .addTexts("--child-of", m_childOf, "sub-job of a child of SUBJOB; put -- before COMMAND then")
      .valueName("SUBJOB [SUFFIX]")
      .takes(1, 2)
      .excludes(subJobOption);
  text("-i,--information", m_information, "INFO", "job information, one line");
  text("-r,--relative-priority", m_relativePriority, "N", "order within the class; default 0");
}

void SubmitOptions::declareWait() {
  m_options.addFlag("--durable", m_isDurable, "wait until a power cut cannot lose the task");
  m_options.addText("--timeout", m_timeout, "wait up to S seconds for each task; default 30")
      .valueName("S");
}

void SubmitOptions::declarePlace() {
  const DeclaredOption to =
      m_options.addText("--to", m_to, "send a message to the service there, such as [::1]:8080")
          .valueName("HOST:PORT");
  const DeclaredOption service =
      m_options.addFlag("--service", m_isService, "send a message to the service in modules.xml")
          .excludes(to);
  m_options.addText("--modules", m_modules, "with --service, the modules.xml to read")
      .valueName("FILE")
      .needs(service);
}

void SubmitOptions::declareBulk() {
  const DeclaredOption input =
      m_options.addFlag("--stdin", m_isStdin, "submit a task for each line of input");
  m_options.addText("--failed", m_failed, "with --stdin, keep lines that failed in a new FILE")
      .valueName("FILE")
      .needs(input);
}

bool SubmitOptions::isGiven(const char* option) const {
  return countOf(option, m_split.given) > 0;
}

void SubmitOptions::takeWords(std::vector<std::string>& arguments) {
  const TakesValue takes = m_options.takesValue();
  m_split = splitAtFirstWord(arguments, takes);
  if (isGiven(kChildOf)) {
    m_split = splitAtMark(arguments, takes);
    // Without a mark, the first word of the command would be taken as the suffix.
    if (!m_split.isMarked && !isGiven("--stdin") && !isGiven("--help") && !isGiven("-h")) {
      refuseChild();
    }
  }
  arguments = m_split.options;
}

void SubmitOptions::checkWords() const {
  if (m_isStdin && !m_split.words.empty()) {
    refuse("--stdin reads the commands from standard input: no COMMAND is allowed");
  }
  if (m_isStdin) {
    return;
  }
  if (!m_childOf.empty() && !m_split.isMarked) {
    refuseChild();
  }
  if (m_split.words.empty()) {
    refuse("COMMAND is missing");
  }
  if (m_class.empty()) {
    refuse("the priority class is missing: -p CLASS");
  }
}

void SubmitOptions::check() const {
  checkWords();
  if (countOf(kChildOf, m_split.given) > 1) {
    refuse("--child-of is given twice");
  }
  static_cast<void>(timeout());  // a dry run does not wait, but refuses what a submission refuses
  if (m_isDurable && isByMessage()) {
    refuse("--durable is for submission by file: a message cannot ask for it");
  }
  if (m_failed && m_failed->empty()) {
    refuse("--failed needs the name of a file");
  }
  if (m_isDryRun && m_isStdin) {
    refuse("--dry-run shows one task: it cannot be combined with --stdin");
  }
}

std::string SubmitOptions::subJob() const {
  if (m_childOf.empty()) {
    return m_subJob;
  }
  try {
    return childSubJob(m_childOf.front(), m_childOf.size() > 1 ? m_childOf.back() : "");
  } catch (const Error& error) {
    refuse(std::string(kChildOf) + ": " + error.what(), error.status());
  }
}

Task SubmitOptions::task() const {
  Task task;
  task.priorityClass = m_class;
  task.command = m_split.words.empty() ? "" : commandText(m_split.words, m_type);
  task.type = m_type;
  task.adjustment = m_adjustment;
  task.job = m_job;
  task.subJob = subJob();
  task.information = m_information;
  if (!parseNumber(m_relativePriority, task.relativePriority)) {
    refuseValue("-r", m_relativePriority, "not an integer from -2147483648 to 2147483647");
  }
  return task;
}

Timeout SubmitOptions::timeout() const {
  double seconds = 0;
  if (!parseNumber(m_timeout, seconds, std::chars_format::fixed) ||
      !(seconds >= 0 && seconds <= kLongestTimeout)) {
    refuseValue("--timeout", m_timeout, "not a number of seconds in 0 to 2000000");
  }
  return Timeout(seconds);
}

Endpoint SubmitOptions::endpoint() const {
  Endpoint endpoint;
  endpoint.modulesXml = m_modules;
  if (m_to) {
    const HostPort place = parseHostPort(*m_to);
    endpoint.host = place.host;
    endpoint.port = place.port;
  }
  return endpoint;
}

}  // namespace velmo::cli
