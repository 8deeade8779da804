#include "PriorityRemedies.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "FileRemedies.h"
#include "Guess.h"
#include "PropertyLines.h"

namespace velmo::cli {

namespace {

using client::Fault;

constexpr const char* kComment = "s/^/#/";

std::string furtherLines(std::size_t rest) {
  return rest > 0 ? fmt::format("; {} more lines remain: run velmo doctor again", rest) : "";
}

// The lines of a file that meet a condition.
template <typename Condition>
std::vector<NumberedLine> linesWith(const std::string& path, Condition condition) {
  std::vector<NumberedLine> lines = propertyLines(path).value_or(std::vector<NumberedLine>());
  lines.erase(std::remove_if(lines.begin(), lines.end(),
                             [&](const NumberedLine& line) { return !condition(line); }),
              lines.end());
  return lines;
}

// The names without a number whose value in this file counts.
std::set<std::string> namesWithoutNumber(const client::PriorityTable& table,
                                         const std::string& path) {
  std::set<std::string> names;
  for (const client::PriorityEntry& entry : table.entries()) {
    if (!entry.number && table.files()[entry.file].path == path) {
      names.insert(entry.name);
    }
  }
  return names;
}

std::string usableIdentity(const std::string& identity) {
  constexpr std::size_t kLongest = 32;
  std::string usable;
  for (const char character : identity) {
    const bool isUsable = (character >= '0' && character <= '9') ||
                          (character >= 'A' && character <= 'Z') ||
                          (character >= 'a' && character <= 'z') || character == '-';
    usable += isUsable ? std::string(1, character) : "";
  }
  usable.resize(std::min(usable.size(), kLongest));
  return usable.empty() ? "velmo" : usable;
}

}  // namespace

Remedy nameFiles(const Fault&, const Site& site) {
  for (const char* variable : {"VELMO_HOME", "CONF"}) {
    const std::optional<std::string> guess =
        guessOf(*placeOf(variable), site.installation.settings);
    if (guess && access((*guess + "/priorities.cfg").c_str(), F_OK) == 0) {
      return exported(variable, *guess);
    }
  }
  return onlyAdvice(
      "set VELMO_HOME and CONF to the directories of the files \"priorities.cfg\" that the service "
      "uses");
}

Remedy permitFile(const Fault& fault, const Site&) {
  return fault.systemError == EACCES || fault.systemError == EPERM
             ? permit(fault.subject, "u+r")
             : onlyAdvice("the file cannot be read: restore it from a copy",
                          forPath("ls -ld ", fault.subject));
}

Remedy moveFileAway(const Fault& fault, const Site&) {
  return moveAway(fault.subject);
}

Remedy commentSkippedLines(const Fault& fault, const Site&) {
  const auto skipped =
      linesWith(fault.subject, [](const NumberedLine& line) { return line.name.empty(); });
  const LineEdits edits = editLines(fault.subject, skipped, kComment);
  return edits.command.empty()
             ? onlyAdvice("shorten lines of more than 65534 bytes, and write NAME=NUMBER")
             : Remedy{edits.command,
                      "or write NAME=NUMBER into these lines" + furtherLines(edits.rest)};
}

// Every line of such a name: if only the last were removed, an earlier one would count.
Remedy commentLinesWithoutNumber(const Fault& fault, const Site& site) {
  const std::set<std::string> names =
      namesWithoutNumber(site.installation.priorities, fault.subject);
  const auto lines = linesWith(
      fault.subject, [&](const NumberedLine& line) { return names.count(line.name) > 0; });
  const LineEdits edits = editLines(fault.subject, lines, kComment);
  const std::string advice = "write a number behind \"=\" in the lines of these names";
  return edits.command.empty() ? onlyAdvice(advice)
                               : Remedy{edits.command, "or " + advice + furtherLines(edits.rest)};
}

Remedy addClass(const Fault&, const Site& site) {
  for (const client::PropertiesFile& file : site.installation.priorities.files()) {
    const std::string directory = file.path.substr(0, file.path.rfind('/'));
    const std::string command = forPath("printf '\\nNormal=500\\n' >> ", file.path);
    if (leadsToDirectory(directory) && !command.empty()) {
      return {command, "choose the names and numbers of your classes; the smallest runs first"};
    }
  }
  return onlyAdvice("write lines such as \"Normal=500\" into one of the files");
}

Remedy correctIdentity(const Fault& fault, const Site&) {
  const auto lines = linesWith(
      fault.subject, [](const NumberedLine& line) { return line.name == "SELF_SERVER_ID"; });
  const LineEdits edits =
      editLines(fault.subject, lines, "s/.*/SELF_SERVER_ID=" + usableIdentity(fault.detail) + "/");
  return edits.command.empty()
             ? onlyAdvice("write a short SELF_SERVER_ID of letters, digits and hyphens")
             : Remedy{edits.command, "each machine of a service needs another identity" +
                                         furtherLines(edits.rest)};
}

}  // namespace velmo::cli
