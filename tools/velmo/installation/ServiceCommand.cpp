#include "ServiceCommand.h"

#include <cstddef>
#include <vector>

#include "GivenEndpoint.h"
#include "JsonLine.h"
#include "LibraryFault.h"
#include "ModulesReader.h"
#include "OneLine.h"
#include "OutputLines.h"
#include "Table.h"

namespace velmo::cli {

namespace {

using client::ModulesContents;
using client::ModulesHost;
using client::ModulesMachine;

// A host, or a machine without hosts.
struct Entry {
  const ModulesMachine* machine;
  const ModulesHost* host;
  bool isChosen;
};

std::vector<Entry> entriesOf(const ModulesContents& contents) {
  std::vector<Entry> entries;
  for (std::size_t m = 0; m < contents.machines.size(); ++m) {
    const ModulesMachine& machine = contents.machines[m];
    if (machine.hosts.empty()) {
      entries.push_back({&machine, nullptr, false});
    }
    for (std::size_t h = 0; h < machine.hosts.size(); ++h) {
      const bool isChosen = contents.service.isOk() && contents.lastVelmo == std::pair(m, h);
      entries.push_back({&machine, &machine.hosts[h], isChosen});
    }
  }
  return entries;
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) {
    result += (result.empty() ? "" : " ") + text;
  }
  return result;
}

void printTable(const std::vector<Entry>& entries, Output& output) {
  Table table({{"MACHINE"}, {"HOST"}, {"PORT", Table::Align::Right}, {"USED"}, {"MODULES"}});
  for (const Entry& entry : entries) {
    const ModulesHost none;
    const ModulesHost& host = entry.host != nullptr ? *entry.host : none;
    table.add({entry.machine->hostname, host.name, host.port ? std::to_string(*host.port) : "",
               entry.isChosen ? "yes" : "", joined(host.modules)});
  }
  table.print(output);
}

void printJson(const std::vector<Entry>& entries, Session& session) {
  OutputLines lines(session);
  for (const Entry& entry : entries) {
    const ModulesHost none;
    const ModulesHost& host = entry.host != nullptr ? *entry.host : none;
    lines.add(jsonLine({{"machine", entry.machine->hostname},
                        {"host", entry.host != nullptr ? Json(host.name) : Json()},
                        {"websocket_port", host.port ? Json(*host.port) : Json()},
                        {"modules", Json(host.modules)},
                        {"is_chosen", entry.isChosen}}));
  }
  lines.flush();
}

}  // namespace

ServiceCommand::ServiceCommand(CommandOptions& parent)
    : Command(parent, kName,
              "Lists the machines and hosts of \"modules.xml\", and marks the one that tasks are "
              "sent to. Does not connect.",
              {"velmo service [--modules FILE] [--json]"}) {
  options()
      .addText("--modules", m_modules,
               "the file; default $VELMO_MODULES_XML, then that of "
               "the installation")
      .valueName("FILE");
  options().addFlag("--json", m_isJson, "print one object a line");
}

Status ServiceCommand::run(Session& session) {
  const std::string path = client::modulesPath(m_modules.c_str());
  const client::Result<ModulesContents> read = client::readModules(path);
  const ModulesContents& contents = valueOf(read);
  const std::vector<Entry> entries = entriesOf(contents);
  if (m_isJson) {
    printJson(entries, session);
  } else if (!entries.empty()) {
    session.out.writeLine("File: " + tools::oneLine(path));
    printTable(entries, session.out);
  }
  valueOf(contents.service);  // says why no host is marked
  return Status::ok;
}

}  // namespace velmo::cli
