#include "ShowCommand.h"

#include <algorithm>
#include <ctime>
#include <utility>
#include <vector>

#include "Failure.h"
#include "JsonLine.h"
#include "LibraryFault.h"
#include "LocalTime.h"
#include "OneLine.h"
#include "QueueDirectory.h"
#include "QueuePlace.h"
#include "TaskRow.h"
#include "TaskText.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kMostOnTerminal = 4000;

// A label and its text.
using Field = std::pair<std::string, std::string>;

std::string bytes(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// The start of a long text on a terminal, which ends with a whole character if it is UTF-8.
std::string shortened(const std::string& text, const Output& output) {
  if (!output.isTerminal() || text.size() <= kMostOnTerminal) {
    return tools::oneLine(text);
  }
  std::size_t end = kMostOnTerminal;
  constexpr std::size_t kLongestRest = 3;  // of a character behind its first byte
  while (end > kMostOnTerminal - kLongestRest &&
         (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U) {
    --end;
  }
  return tools::oneLine(text.substr(0, end)) + " ... and " + bytes(text.size() - end) + " more";
}

std::vector<Field> fieldsFor(const std::string& path, const TaskName& parts, const TaskText& text,
                             const Output& output) {
  std::vector<Field> fields{
      {"Path", path},
      {"Size", bytes(text.size)},
      {"Priority", std::to_string(parts.priority)},
      {"Created", withSeparators(parts.created) + " (age " +
                      ageAt(std::time(nullptr), momentOf(parts.created)) + ")"},
      {"Job", parts.job},
      {"Sub-job", parts.subJob},
      {"Task", std::to_string(parts.task)},
      {"Relative", std::to_string(parts.relativePriority)},
      {"Type", parts.type}};
  if (!text.problem.empty()) {
    fields.emplace_back("Malformed", text.problem);
    return fields;
  }
  fields.emplace_back("Command", shortened(text.command, output));
  fields.emplace_back("Information", shortened(text.information.value_or("none"), output));
  return fields;
}

void printFields(const std::vector<Field>& fields, Output& output) {
  std::size_t widest = 0;
  for (const auto& [label, text] : fields) {
    widest = std::max(widest, label.size());
  }
  std::string lines;
  for (const auto& [label, text] : fields) {
    lines += output.styled(label + ":", Style::Heading) +
             std::string(widest - label.size() + 2, ' ') + tools::oneLine(text) + "\n";
  }
  output.write(lines);
}

}  // namespace

ShowCommand::ShowCommand(CommandOptions& parent)
    : Command(parent, "show", "Shows one task in the queue, with its command.",
              {"velmo queue show [--json] [--] NAME"}) {
  options().setFooter("NAME is the name of the task, or its number.");
  options().addFlag("--json", m_isJson, "print an object");
  options().addText("NAME", m_name).required();
}

Status ShowCommand::run(Session& session) {
  const std::string directory = queueDirectoryOf(Installation());
  const std::string name = TaskFinder(directory).nameOf(m_name);
  const std::optional<TaskName> parts = parseName(name);
  if (!parts) {
    throw errorOf({client::Problem::NotATaskName, name});
  }
  const std::optional<TaskText> text = readTask(tools::QueueDirectory(directory), name);
  if (!text) {
    throw Failure(Status::notFound, "not in the queue: " + tools::oneLine(name));
  }
  if (m_isJson) {
    Json object = fieldsOf(name, *parts);
    addText(object, text);
    session.out.write(jsonLine(object));
  } else {
    printFields(fieldsFor(directory + "/" + name, *parts, *text, session.out), session.out);
  }
  return Status::ok;
}

}  // namespace velmo::cli
