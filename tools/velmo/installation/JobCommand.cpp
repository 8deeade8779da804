#include "JobCommand.h"

#include <chrono>
#include <cmath>
#include <filesystem>
#include <system_error>

#include "Failure.h"
#include "JsonLine.h"
#include "LibraryFault.h"
#include "OneLine.h"

namespace velmo::cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFooter =
    "KEY is any name without \"/\". Programs that use the same directory and key get\n"
    "the same job. --user, --name and --priority matter only if the job is new.\n"
    "\n"
    "Prints the identifier of the job, and the job information on a second line.";

Json jsonOf(const Job& job) {
  return {{"id", job.id},
          {"user", job.user},
          {"name", job.name},
          {"priority", job.priority},
          {"information", job.information},
          {"is_new", job.isNew}};
}

}  // namespace

std::string jobDirectory(const std::string& given, const client::Setting& data) {
  std::error_code error;
  if (!given.empty()) {
    const fs::path absolute = fs::absolute(given, error);
    if (error) {
      throw Failure(Status::systemError, "cannot read the current directory: " + error.message());
    }
    return absolute.string();
  }
  const fs::path usual = fs::path(valueOf(client::directoryOf(data))) / "velmo" / "jobs";
  if (!fs::is_directory(usual, error)) {
    throw Failure(
        Status::invalidArgument,
        "--dir is required, because \"" + tools::oneLine(usual.string()) + "\" is not a directory");
  }
  return usual.string();
}

JobCommand::JobCommand(CommandOptions& parent)
    : Command(parent, kName, "Finds the job of a key, or makes one if the key has none.",
              {"velmo job [OPTION...] [--] KEY"}) {
  options().setFooter(kFooter);
  options().addText("KEY", m_key).required();
  options()
      .addText("--dir", m_directory,
               "the directory of the job files; default DATA/velmo/jobs, if it exists")
      .valueName("DIR");
  options().addText("--user", m_ifNew.user, "the user of a new job; default none").valueName("U");
  options().addText("--name", m_ifNew.name, "the name of a new job; default none").valueName("N");
  options()
      .addNumber("--priority", m_ifNew.priority, "the priority of a new job; default 0")
      .valueName("P");
  options().addFlag("--durable", m_isDurable,
                    "return only when a new job would survive a power cut");
  options()
      .addNumber("--timeout", m_timeout, "seconds to wait at most; default 30; 0 does not wait")
      .valueName("S");
  options().addFlag("--json", m_isJson, "print an object");
}

Deadline JobCommand::deadline() const {
  if (!(m_timeout >= 0) || !std::isfinite(m_timeout)) {
    throw Failure(Status::invalidArgument, "--timeout must be 0 or more seconds");
  }
  return std::chrono::duration<double>(m_timeout);
}

Status JobCommand::run(Session& session) {
  const Deadline end = deadline();
  Settings settings = Settings::fromEnvironment();
  settings.stop = &session.interrupt.flag();
  const std::string directory = jobDirectory(m_directory, {"DATA", settings.data});
  const Job job = Installation(settings).findJob(
      directory, m_key, m_ifNew, end, m_isDurable ? Durability::powerCut : Durability::none);
  if (m_isJson) {
    session.out.write(jsonLine(jsonOf(job)));
  } else {
    session.out.write(tools::oneLine(job.id) + "\n" + tools::oneLine(job.information) + "\n");
  }
  return Status::ok;
}

}  // namespace velmo::cli
