#include "TaskInstallation.h"

#include <gtest/gtest.h>

namespace velmo::test {

TaskInstallation::TaskInstallation() {
  environment.set("VAR", directory.makeDirectory("var"));
  directory.makeDirectory("var/taskqueue");
  environment.set("TMP", directory.makeDirectory("tmp"));
  environment.set("DATA", directory.makeDirectory("data"));
  directory.makeDirectory("data/velmo");
  environment.set("LOCK_VAR", directory.makeDirectory("lock"));
  environment.set("CONF", directory.makeDirectory("conf"));
  environment.set("VELMO_HOME", directory.makeDirectory("home"));
  environment.set("SHARED_VELMO_TASKID", std::to_string(counter.key()));
  environment.set("SEMAPHORE_VELMO_TASKID", std::to_string(semaphore.key()));
}

std::vector<std::string> TaskInstallation::queue() const {
  return namesIn(directory.path("var/taskqueue"));
}

std::vector<std::string> TaskInstallation::temporary() const {
  return namesIn(directory.path("tmp"));
}

std::string TaskInstallation::onlyTask() const {
  const std::vector<std::string> names = queue();
  if (names.size() != 1) {
    ADD_FAILURE() << names.size() << " files in the queue";
    return {};
  }
  return readFile(directory.path("var/taskqueue/" + names.front()));
}

void TaskInstallation::writeHomePriorities(const std::string& contents) const {
  directory.writeFile("home/priorities.cfg", contents);
}

void TaskInstallation::writeConfPriorities(const std::string& contents) const {
  directory.writeFile("conf/priorities.cfg", contents);
}

void TaskInstallation::writeServerIdentity(const std::string& contents) const {
  directory.writeFile("conf/serverid.cfg", contents);
}

void TaskInstallation::writeJobCounter(const std::string& contents) const {
  directory.writeFile("data/velmo/jobid", contents);
}

std::string TaskInstallation::jobCounter() const {
  return readFile(directory.path("data/velmo/jobid"));
}

}  // namespace velmo::test
