#include "Examination.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "Dialling.h"
#include "GivenEndpoint.h"
#include "HostAddresses.h"
#include "InstallationCheck.h"
#include "JobNumbers.h"
#include "ModulesReader.h"

namespace velmo::cli {

namespace {

using client::Fault;
using client::Settings;

// What a check needs: variables that are usable, and checks without a fault that ends the looking.
struct Need {
  Check check;
  std::vector<const char*> variables;
  std::vector<Check> checks;
};

std::vector<Need> allNeeds() {
  return {{Check::Queue, {"VAR"}, {}},
          {Check::Tmp, {"TMP"}, {}},
          {Check::Data, {"DATA"}, {}},
          {Check::LockDirectory, {"LOCK_VAR"}, {}},
          {Check::VelmoHome, {"VELMO_HOME"}, {}},
          {Check::Conf, {"CONF"}, {}},
          {Check::OneFileSystem, {"TMP", "VAR"}, {Check::Tmp, Check::Queue}},
          {Check::HomePriorities, {"VELMO_HOME"}, {Check::VelmoHome}},
          {Check::ConfPriorities, {"CONF"}, {Check::Conf}},
          {Check::Priorities,
           {},
           {Check::VelmoHome, Check::Conf, Check::HomePriorities, Check::ConfPriorities}},
          {Check::ServerIdentity, {"CONF"}, {Check::Conf}},
          {Check::JobCounter, {"DATA"}, {Check::Data}},
          {Check::JobLock, {"LOCK_VAR"}, {Check::LockDirectory}},
          {Check::JobCounterCopy, {"DATA"}, {Check::Data, Check::JobLock}},
          {Check::TaskCounter, {"SHARED_VELMO_TASKID"}, {}},
          {Check::Semaphore, {"SEMAPHORE_VELMO_TASKID"}, {}},
          {Check::LogoutRemoval,
           {"SHARED_VELMO_TASKID", "SEMAPHORE_VELMO_TASKID"},
           {Check::TaskCounter, Check::Semaphore}},
          {Check::Leftovers, {"TMP"}, {Check::Tmp, Check::OneFileSystem}},
          {Check::QueueFiles, {"VAR"}, {Check::Queue}}};
}

// What the faults rule out.
struct Obstacles {
  std::set<std::string> variables;
  std::set<Check> checks;
};

bool isSame(const Fault& left, const Fault& right) {
  return left.problem == right.problem && left.subject == right.subject &&
         left.detail == right.detail;
}

std::vector<Fault> withoutRepetitions(const std::vector<Fault>& faults) {
  std::vector<Fault> all;
  for (const Fault& fault : faults) {
    const bool isKnownAlready = std::any_of(
        all.begin(), all.end(), [&](const Fault& other) { return isSame(fault, other); });
    if (!isKnownAlready) {
      all.push_back(fault);
    }
  }
  return all;
}

Obstacles obstaclesIn(const std::vector<Fault>& faults, const Settings& settings) {
  Obstacles obstacles;
  for (const Fault& fault : faults) {
    const Check check = checkOf(fault, settings);
    if (check == Check::Variables) {
      obstacles.variables.insert(fault.subject);
    } else if (endsLooking(fault.problem)) {
      obstacles.checks.insert(check);
    }
  }
  for (const client::Setting* setting : {&settings.velmoHome, &settings.conf}) {
    if (setting->value.empty()) {  // which is allowed
      obstacles.variables.insert(setting->variable);
    }
  }
  return obstacles;
}

std::string variableObstacle(const std::string& variable, const Settings& settings) {
  const client::Setting& setting = settingOf(*placeOf(variable), settings);
  return variable + (setting.value.empty() ? " is not set" : " is not usable");
}

// Why a check is skipped; empty if it is not.
std::string obstacleOf(Check check, const Obstacles& obstacles, const Settings& settings) {
  for (const Need& need : allNeeds()) {
    if (need.check != check) {
      continue;
    }
    for (const char* variable : need.variables) {
      if (obstacles.variables.count(variable) > 0) {
        return variableObstacle(variable, settings);
      }
    }
    for (const Check earlier : need.checks) {
      if (obstacles.checks.count(earlier) > 0) {
        return "\"" + nameOf(earlier) + "\" has a fault";
      }
    }
  }
  return {};
}

// What is remarkable although all is well.
std::string noteOf(Check check, const std::string& path) {
  const bool isConfiguration = check == Check::HomePriorities || check == Check::ConfPriorities ||
                               check == Check::ServerIdentity;
  if (access(path.c_str(), F_OK) == 0) {
    return {};
  }
  if (isConfiguration) {
    return "it is missing, which is allowed";
  }
  return check == Check::JobCounter ? "it is missing: the first job gets the number 0" : "";
}

// The findings of one check.
std::vector<Finding> findingsOf(Check check, const std::vector<Fault>& faults,
                                const Obstacles& obstacles, const Site& site) {
  const Settings& settings = site.installation.settings;
  const std::string lookedAtText = lookedAt(check, site.installation);
  const std::string obstacle = obstacleOf(check, obstacles, settings);
  std::vector<Finding> findings;
  for (const Fault& fault : faults) {
    // Of the task counter and its semaphore, each says it for itself.
    if (checkOf(fault, settings) == check && (obstacle.empty() || check == Check::LogoutRemoval)) {
      findings.push_back(findingOf(fault, site));
    }
  }
  if (findings.empty() && !obstacle.empty()) {
    findings.push_back({check, lookedAtText, Finding::Kind::Skipped, obstacle});
  } else if (findings.empty()) {
    findings.push_back({check, lookedAtText, Finding::Kind::Ok, noteOf(check, lookedAtText)});
  }
  return findings;
}

// Without its file, the counter starts again at 0.
void addMissingCounter(const Settings& settings, std::vector<Fault>& faults) {
  const std::string path = settings.data.value + "/velmo/jobid";
  const bool isMissing = client::directoryOf(settings.data).isOk() &&
                         access((settings.data.value + "/velmo").c_str(), X_OK) == 0 &&
                         access(path.c_str(), F_OK) != 0 && errno == ENOENT;
  if (isMissing && largestJobNumber(settings)) {
    faults.push_back({client::Problem::JobCounterUnreadable, path, "", ENOENT});
  }
}

velmo_endpoint endpointOf(const std::string& modulesFile, const std::atomic<int>& stop) {
  velmo_endpoint endpoint{};
  endpoint.size = sizeof endpoint;
  endpoint.modules_xml = modulesFile.c_str();
  endpoint.stop = detail::flagOf(&stop);
  return endpoint;
}

Finding connectTo(const client::GivenEndpoint& endpoint, const Site& site) {
  constexpr int kTimeoutMs = 1000;
  const std::string address = client::addressText(endpoint.host, endpoint.port);
  auto connection = client::dial(endpoint, kTimeoutMs, client::Wait(kTimeoutMs, endpoint.stop));
  if (!connection.isOk()) {
    Finding finding = findingOf(connection.fault(), site);
    finding.check = Check::Service;
    finding.lookedAt = address;
    return finding;
  }
  connection.value()->connection.close(client::Wait(0, endpoint.stop));
  return {Check::Service, address};
}

}  // namespace

std::vector<Finding> findingsOf(const std::vector<Fault>& faults, const Site& site) {
  const std::vector<Fault> all = withoutRepetitions(faults);
  const Obstacles obstacles = obstaclesIn(all, site.installation.settings);
  std::vector<Finding> findings;
  for (int check = 0; check <= static_cast<int>(kLastCheckOfInstallation); ++check) {
    const std::vector<Finding> some = findingsOf(static_cast<Check>(check), all, obstacles, site);
    findings.insert(findings.end(), some.begin(), some.end());
  }
  return findings;
}

std::vector<Finding> examine(const Site& site) {
  std::vector<Fault> faults;
  client::checkInstallation(site.installation, nullptr,
                            [&faults](const Fault& fault) { faults.push_back(fault); });
  addMissingCounter(site.installation.settings, faults);
  return findingsOf(faults, site);
}

std::vector<Finding> examineService(const std::string& modulesFile, const std::atomic<int>& stop,
                                    const Site& site) {
  const velmo_endpoint given = endpointOf(modulesFile, stop);
  const std::string path = client::modulesPath(given.modules_xml);
  const client::Result<client::GivenEndpoint> endpoint = client::takeEndpoint(&given);
  if (!endpoint.isOk()) {
    Finding finding = findingOf(endpoint.fault(), site);
    finding.check = Check::Modules;
    finding.lookedAt = path;
    return {finding, {Check::Service, "", Finding::Kind::Skipped, "\"modules\" has a fault"}};
  }
  return {{Check::Modules, path}, connectTo(endpoint.value(), site)};
}

}  // namespace velmo::cli
