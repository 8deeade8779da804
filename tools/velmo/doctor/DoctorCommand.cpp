#include "DoctorCommand.h"

#include <algorithm>

#include "DoctorReport.h"
#include "Examination.h"
#include "Failure.h"
#include "LibraryFault.h"
#include "LockAttempt.h"
#include "LockFile.h"
#include "Wrapped.h"

namespace velmo::cli {

namespace {

// A lock file that cannot be read does not prove that it is stale.
LockVerdict judgeLockFile(const std::string& path) {
  try {
    const LockFile file(path);
    return file.isThere() ? file.verdict(Processes()) : LockVerdict{false, "it has just gone"};
  } catch (const Failure& failure) {
    return {false, failure.what()};
  }
}

// Makes the lock that was not broken the first finding.
void putFirst(std::vector<Finding>& findings, const Failure& refusal, const std::string& path) {
  const auto isLock = [](const Finding& finding) { return finding.check == Check::JobLock; };
  const auto found = std::find_if(findings.begin(), findings.end(), isLock);
  Finding lock{Check::JobLock, path, Finding::Kind::Fault};
  if (found != findings.end() && found->kind == Finding::Kind::Fault) {
    lock = *found;
  } else {
    lock.remedy = onlyAdvice("run velmo doctor again");
  }
  lock.status = refusal.status();
  lock.fault = refusal.what();
  findings.erase(std::remove_if(findings.begin(), findings.end(), isLock), findings.end());
  findings.insert(findings.begin(), lock);
}

}  // namespace

DoctorCommand::DoctorCommand(CommandOptions& parent)
    : Command(parent, kName,
              "Looks for everything that keeps tasks from being submitted or run: what was looked "
              "at, what is wrong, its consequence, and how to repair it. Changes "
              "nothing, except with --break-lock.",
              {"velmo doctor [--json] [--break-lock] [--connect [--modules FILE]]"}) {
  options().addFlag("--json", m_isJson, "print one object a line");
  const DeclaredOption connects = options().addFlag(
      "--connect", m_connects, "also connect to the service that \"modules.xml\" names");
  options()
      .addText("--modules", m_modulesFile, "the file \"modules.xml\", with --connect")
      .valueName("FILE")
      .needs(connects);
  options().addFlag("--break-lock", m_breaksLock,
                    "first delete the lock file of the job counter, if it is certainly stale");
}

Status DoctorCommand::run(Session& session) {
  const auto installation = client::openInstallation(nullptr);
  const Site site{*valueOf(installation), judgeLockFile};
  std::optional<std::string> broken;
  std::optional<Failure> refusal;
  if (m_breaksLock) {
    try {
      broken = breakLock(site.installation);
    } catch (const Failure& failure) {
      refusal = failure;
    }
  }
  std::vector<Finding> findings = findingsIn(site, session);
  if (refusal) {
    putFirst(findings, *refusal, lookedAt(Check::JobLock, site.installation));
  }
  print(findings, broken, session);
  if (refusal) {
    throw *refusal;
  }
  return statusOf(findings);
}

std::vector<Finding> DoctorCommand::findingsIn(const Site& site, Session& session) const {
  std::vector<Finding> findings = examine(site);
  if (m_connects) {
    const std::vector<Finding> service =
        examineService(m_modulesFile, session.interrupt.flag(), site);
    findings.insert(findings.end(), service.begin(), service.end());
  }
  return findings;
}

// Returns what was broken, and why; empty if there is no lock file.
std::string DoctorCommand::breakLock(const velmo_installation& installation) const {
  const auto directory = client::directoryOf(installation.settings.lockVar);
  const LockFile file(brix::imutils::lockPath(valueOf(directory), "velmo_jobid").data());
  if (!file.isThere()) {
    return {};
  }
  const LockVerdict verdict = file.verdict(Processes());
  if (!verdict.isStale) {
    throw Failure(Status::timedOut, file.name() + " was not broken: " + verdict.reason);
  }
  file.remove();
  return file.name() + ": " + verdict.reason;
}

void DoctorCommand::print(const std::vector<Finding>& findings,
                          const std::optional<std::string>& broken, Session& session) const {
  if (!m_isJson) {
    if (broken) {
      session.out.write(
          wrapped(broken->empty() ? "no lock file" : "broken: " + *broken, 0, session.out.width()));
    }
    session.out.write(reportText(findings, session.out));
    return;
  }
  for (const Finding& finding : findings) {
    Json fields = fieldsOf(finding);
    if (broken && finding.check == Check::JobLock) {
      fields["broken"] = broken->empty() ? Json() : Json(*broken);
    }
    session.out.write(jsonLine(fields));
  }
}

}  // namespace velmo::cli
