#include "PrioritiesCommand.h"

#include <optional>

#include "JsonLine.h"
#include "LibraryFault.h"
#include "Settings.h"
#include "Table.h"

namespace velmo::cli {

namespace {

using client::PriorityEntry;
using client::PriorityTable;

const std::string& pathOf(const PriorityTable& table, std::size_t file) {
  return table.files()[file].path;
}

void printTable(const PriorityTable& table, Output& output) {
  Table lines({{"NAME"},
               {"NUMBER", Table::Align::Right},
               {"FILE", Table::Align::Left, true},
               {"HIDES", Table::Align::Left, true}});
  for (const PriorityEntry& entry : table.entries()) {
    lines.add({entry.name, entry.number ? std::to_string(*entry.number) : "none",
               pathOf(table, entry.file), entry.hides ? pathOf(table, *entry.hides) : ""});
  }
  lines.print(output);
}

void printJson(const PriorityTable& table, Output& output) {
  for (const PriorityEntry& entry : table.entries()) {
    output.write(jsonLine({{"name", entry.name},
                           {"number", entry.number ? Json(*entry.number) : Json()},
                           {"file", pathOf(table, entry.file)},
                           {"hides", entry.hides ? Json(pathOf(table, *entry.hides)) : Json()}}));
  }
}

// The first failure to read a file.
client::Outcome unreadableIn(const PriorityTable& table) {
  for (const client::PropertiesFile& file : table.files()) {
    if (file.failure) {
      return file.failure;
    }
  }
  return std::nullopt;
}

}  // namespace

PrioritiesCommand::PrioritiesCommand(CommandOptions& parent)
    : Command(
          parent, kName,
          "Lists the priority classes and adjustments of \"priorities.cfg\", with the file that "
          "each comes from and the file whose number it hides.",
          {"velmo priorities [--json]"}) {
  options().addFlag("--json", m_isJson, "print one object a line");
}

Status PrioritiesCommand::run(Session& session) {
  const client::Result<client::Settings> settings = client::takeSettings(nullptr);
  const PriorityTable table(valueOf(settings));
  if (!table.isEmpty()) {
    m_isJson ? printJson(table, session.out) : printTable(table, session.out);
  }
  if (const client::Outcome failure = unreadableIn(table)) {
    throw errorOf(*failure);
  }
  if (table.files().empty()) {
    throw errorOf({client::Problem::PriorityFilesNotNamed});
  }
  if (table.isEmpty()) {
    throw errorOf({client::Problem::NoPriorities, table.searched()});
  }
  return Status::ok;
}

}  // namespace velmo::cli
