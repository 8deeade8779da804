// Each fault of an installation: velmo doctor names it, and its repair, pasted into a shell, ends
// it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "EndedProcess.h"
#include "TaskInstallation.h"
#include "ToolProcess.h"
#include "VisibleProcesses.h"

namespace velmo::test {
namespace {

namespace fs = std::filesystem;

using Json = nlohmann::json;

constexpr const char* kTask = "0050.20250303140509.J41.S0.T20250303140509-7.R0002.sh";

// An installation without faults, and what only one fault needs.
struct Scene {
  Scene() {
    // Unless it is set, TMP is the place of the tests' directories.
    place.environment.set("TMPDIR", place.directory.path().parent_path());
    place.writeHomePriorities("Normal=500\n");
  }
  ~Scene() {
    umask(m_umask);
  }
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  std::string path(const std::string& name) const {
    return place.directory.path(name);
  }

 private:
  mode_t m_umask = umask(022);  // before the directories

 public:
  TaskInstallation place;
  std::vector<std::shared_ptr<void>> others;
};

enum class Repair { Command, None };

// A fault, and what velmo doctor finds then.
struct FaultCase {
  const char* name;
  std::function<void(Scene&)> make;
  const char* check;
  const char* status;
  Repair repair;
};

void PrintTo(const FaultCase& fault, std::ostream* output) {
  *output << fault.name;
}

void makeOld(const std::string& path) {
  const utimbuf times{1'000'000, 1'000'000};
  ASSERT_EQ(0, utime(path.c_str(), &times));
}

void leaveTask(const Scene& scene, const std::string& name) {
  makeOld(scene.place.directory.writeFile("tmp/" + name, "true\n"));
}

std::string numbered(int task) {
  return "0050.20250303140509.J41.S0.T20250303140509-" + std::to_string(task) + ".R0002.sh";
}

void writeLock(const Scene& scene, pid_t maker) {
  scene.place.directory.writeFile("lock/semaphore_velmo_jobid", std::to_string(maker) + "\n");
}

void takeSemaphoreAndEnd(int id) {
  const pid_t process = fork();
  if (process == 0) {
    sembuf take{0, -1, 0};
    _exit(semop(id, &take, 1) == 0 ? 0 : 1);
  }
  waitpid(process, nullptr, 0);
}

template <typename Kept, typename... Arguments>
std::shared_ptr<Kept> keep(Scene& scene, Arguments&&... arguments) {
  auto kept = std::make_shared<Kept>(std::forward<Arguments>(arguments)...);
  scene.others.push_back(kept);
  return kept;
}

void setVariable(Scene& scene, const char* name, const std::string& value) {
  scene.place.environment.set(name, value);
}

// A directory on another file system than that of the installation.
class OtherFileSystem {
 public:
  OtherFileSystem() {
    std::string pattern = "/dev/shm/velmo-doctor.XXXXXX";
    if (mkdtemp(pattern.data()) != nullptr) {
      m_path = pattern;
    }
  }
  ~OtherFileSystem() {
    fs::remove_all(m_path);
  }
  OtherFileSystem(const OtherFileSystem&) = delete;
  OtherFileSystem& operator=(const OtherFileSystem&) = delete;

  const std::string& path() const {
    return m_path;
  }

 private:
  std::string m_path;
};

void unset(Scene& scene, const char* name) {
  scene.place.environment.unset(name);
}

void remove(Scene& scene, const char* name) {
  fs::remove_all(scene.path(name));
}

const std::vector<FaultCase> kFaults{
    {"VarNotSet", [](Scene& s) { unset(s, "VAR"); }, "variables", "not_configured",
     Repair::Command},
    {"TmpNotSet", [](Scene& s) { unset(s, "TMP"); }, "variables", "not_configured",
     Repair::Command},
    {"TmpNotSetAndNowhere",
     [](Scene& s) {
       unset(s, "TMP");
       remove(s, "tmp");
     },
     "variables", "not_configured", Repair::Command},
    {"DataNotSet", [](Scene& s) { unset(s, "DATA"); }, "variables", "not_configured",
     Repair::Command},
    {"LockVarNotSet", [](Scene& s) { unset(s, "LOCK_VAR"); }, "variables", "not_configured",
     Repair::Command},
    {"DataRelativeAndUnknown", [](Scene& s) { setVariable(s, "DATA", "data"); }, "variables",
     "not_configured", Repair::Command},
    {"TmpRelative", [](Scene& s) { setVariable(s, "TMP", fs::relative(s.path("tmp")).string()); },
     "variables", "not_configured", Repair::Command},
    {"ConfRelative", [](Scene& s) { setVariable(s, "CONF", "conf"); }, "variables",
     "not_configured", Repair::Command},
    {"KeyNotSet", [](Scene& s) { unset(s, "SHARED_VELMO_TASKID"); }, "variables", "not_configured",
     Repair::None},
    {"KeyNotANumber", [](Scene& s) { setVariable(s, "SEMAPHORE_VELMO_TASKID", "0x17"); },
     "variables", "not_configured", Repair::None},
    {"QueueMissing", [](Scene& s) { remove(s, "var/taskqueue"); }, "queue", "not_configured",
     Repair::Command},
    {"TmpMissing", [](Scene& s) { remove(s, "tmp"); }, "tmp", "not_configured", Repair::Command},
    {"DataMissing", [](Scene& s) { remove(s, "data"); }, "data", "not_configured", Repair::Command},
    {"LockDirectoryMissing", [](Scene& s) { remove(s, "lock"); }, "lock_directory",
     "not_configured", Repair::Command},
    {"ConfMissing", [](Scene& s) { remove(s, "conf"); }, "conf", "not_configured", Repair::Command},
    {"TmpBelowAFile", [](Scene& s) { setVariable(s, "TMP", s.path("home/priorities.cfg/tmp")); },
     "tmp", "not_configured", Repair::None},
    {"QueueIsAFile",
     [](Scene& s) {
       remove(s, "var/taskqueue");
       s.place.directory.writeFile("var/taskqueue", "");
     },
     "queue", "not_configured", Repair::Command},
    {"LockVarNamesAFile",
     [](Scene& s) { setVariable(s, "LOCK_VAR", s.path("home/priorities.cfg")); }, "lock_directory",
     "not_configured", Repair::Command},
    {"QueueOpenToAll", [](Scene& s) { s.place.directory.setMode("var/taskqueue", 0777); }, "queue",
     "not_configured", Repair::Command},
    {"ConfOpenToAll", [](Scene& s) { s.place.directory.setMode("conf", 0757); }, "conf",
     "not_configured", Repair::Command},
    {"TmpForAllUsers", [](Scene& s) { s.place.directory.setMode("tmp", 01777); }, "tmp",
     "not_configured", Repair::Command},
    {"TmpOnAnotherFileSystem",
     [](Scene& s) { setVariable(s, "TMP", keep<OtherFileSystem>(s)->path()); }, "one_file_system",
     "not_configured", Repair::Command},
    {"TmpIsTheQueue", [](Scene& s) { setVariable(s, "TMP", s.path("var/taskqueue")); },
     "one_file_system", "not_configured", Repair::Command},
    {"PrioritiesNotNamed",
     [](Scene& s) {
       unset(s, "VELMO_HOME");
       unset(s, "CONF");
     },
     "priorities", "not_configured", Repair::Command},
    {"PrioritiesEmpty", [](Scene& s) { s.place.writeHomePriorities("# none"); }, "priorities",
     "not_configured", Repair::Command},
    {"PrioritiesAreADirectory",
     [](Scene& s) { s.place.directory.makeDirectory("conf/priorities.cfg"); }, "conf_priorities",
     "not_configured", Repair::Command},
    {"LinesSkipped",
     [](Scene& s) { s.place.writeHomePriorities("Normal=5\nUrgent 5\n\n =7\nLow=9\nHigh"); },
     "home_priorities", "not_configured", Repair::Command},
    {"ClassesWithoutNumber",
     [](Scene& s) { s.place.writeConfPriorities("a=x\nNormal=5\nb = \na=\n"); }, "conf_priorities",
     "not_configured", Repair::Command},
    {"IdentityUnusable",
     [](Scene& s) { s.place.writeServerIdentity("x=1\n SELF_SERVER_ID = no/de 7\n"); },
     "server_identity", "not_configured", Repair::Command},
    {"IdentityIsAPipe",
     [](Scene& s) { ASSERT_EQ(0, mkfifo(s.path("conf/serverid.cfg").c_str(), 0600)); },
     "server_identity", "not_configured", Repair::Command},
    {"JobCounterNotANumber", [](Scene& s) { s.place.writeJobCounter("abc"); }, "job_counter",
     "not_configured", Repair::Command},
    {"JobCounterEmpty", [](Scene& s) { s.place.writeJobCounter(""); }, "job_counter",
     "not_configured", Repair::Command},
    {"JobCounterIsADirectory",
     [](Scene& s) { s.place.directory.makeDirectory("data/velmo/jobid"); }, "job_counter",
     "not_configured", Repair::Command},
    {"JobCounterCopyLeft",
     [](Scene& s) { s.place.directory.writeFile("data/velmo/jobid_tmp", "7"); }, "job_counter_copy",
     "not_configured", Repair::Command},
    {"LockOfAProcessThatEnded", [](Scene& s) { writeLock(s, endedProcess()); }, "job_lock",
     "timed_out", Repair::Command},
    {"LockOfARunningProcess", [](Scene& s) { writeLock(s, getpid()); }, "job_lock", "timed_out",
     Repair::None},
    {"TasksLeftInTmp",
     [](Scene& s) {
       leaveTask(s, kTask);
       leaveTask(s, "0050.20250303140509.it's; a\nname.S0.T20250303140509-8.R0002.sh");
     },
     "leftovers", "not_configured", Repair::Command},
    {"ManyTasksLeftInTmp",
     [](Scene& s) {
       for (int task = 0; task < 60; ++task) {
         leaveTask(s, numbered(task));
       }
     },
     "leftovers", "not_configured", Repair::Command},
    {"OtherFilesInTheQueue",
     [](Scene& s) {
       s.place.directory.writeFile("var/taskqueue/README", "");
       s.place.directory.writeFile("var/taskqueue/-it's\x1b[1m\xff $HOME", "");
       s.place.directory.makeDirectory("var/taskqueue/old");
     },
     "queue_files", "not_configured", Repair::Command},
    {"UmaskHidesTasks", [](Scene&) { umask(077); }, "umask", "not_configured", Repair::Command},
    {"TaskCounterMissing",
     [](Scene& s) { setVariable(s, "SHARED_VELMO_TASKID", keep<UnusedKey>(s)->text()); },
     "task_counter", "not_running", Repair::None},
    {"TaskCounterTooSmall",
     [](Scene& s) {
       setVariable(s, "SHARED_VELMO_TASKID", std::to_string(keep<TestSegment>(s, 2U)->key()));
     },
     "task_counter", "not_configured", Repair::None},
    {"SemaphoreMissing",
     [](Scene& s) { setVariable(s, "SEMAPHORE_VELMO_TASKID", keep<UnusedKey>(s)->text()); },
     "semaphore", "not_running", Repair::None},
    {"SemaphoreNeverReady", [](Scene& s) { s.place.semaphore.setValue(0); }, "semaphore",
     "not_running", Repair::None},
    {"SemaphoreTakenByAProcessThatEnded",
     [](Scene& s) { takeSemaphoreAndEnd(s.place.semaphore.id()); }, "semaphore", "timed_out",
     Repair::None},
    {"SemaphoreAboveOne", [](Scene& s) { s.place.semaphore.setValue(2); }, "semaphore",
     "not_configured", Repair::None},
};

// Systemd of the machine that runs the tests may remove objects of their user.
bool isOfInstallation(const Json& finding) {
  return finding["check"] != "logout_removal";
}

// The faults in the output of `velmo doctor --json`.
std::vector<Json> faultsIn(const std::string& output) {
  std::vector<Json> faults;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const Json finding = Json::parse(line);
    const bool isFault = finding["status"] != "ok" && finding["status"] != "skipped";
    if (isFault && isOfInstallation(finding)) {
      faults.push_back(finding);
    }
  }
  return faults;
}

// Runs a script in a shell in which velmo is a command.
std::string runShell(const std::string& script) {
  Environment environment;
  const std::string tools = fs::path(TOOL_PROGRAM).parent_path().string();
  environment.set("PATH", tools + ":" + getenv("PATH"));
  environment.set("SCRIPT", script);
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen("/bin/sh -c \"$SCRIPT\" 2>&1", "re"),
                                                   pclose);
  std::string output;
  for (int byte = 0; (byte = fgetc(pipe.get())) != EOF;) {
    output += static_cast<char>(byte);
  }
  return output;
}

std::vector<Json> findFaults() {
  return faultsIn(runTool({"doctor", "--json"}).output);
}

class DoctorRepairsTest : public testing::TestWithParam<FaultCase> {
 protected:
  Scene scene;
};

TEST_P(DoctorRepairsTest, FaultIsNamedAndItsRepairEndsIt) {
  ASSERT_TRUE(findFaults().empty());
  GetParam().make(scene);
  const std::vector<Json> faults = findFaults();
  ASSERT_EQ(1U, faults.size()) << Json(faults).dump(1);
  EXPECT_EQ(GetParam().check, faults[0]["check"]);
  EXPECT_EQ(GetParam().status, faults[0]["status"]);
  EXPECT_NE("", faults[0]["fault"]);
  EXPECT_TRUE(faults[0]["consequence"].is_string());
  // Where processes are hidden, no lock file is certainly stale.
  const bool isHidden = faults[0]["check"] == "job_lock" && !seesEveryUserOf(scene.path("lock"));
  if (GetParam().repair == Repair::None || isHidden) {
    EXPECT_TRUE(faults[0]["repair"].is_null());
    EXPECT_TRUE(faults[0]["advice"].is_string());
    return;
  }
  const std::string repair = faults[0]["repair"].get<std::string>();
  const std::string output = runShell(repair + "\nvelmo doctor --json");
  const std::string findings = output.substr(output.find("{\"check\":\"variables\""));
  EXPECT_EQ(std::vector<Json>(), faultsIn(findings)) << repair << "\n" << output;
}

INSTANTIATE_TEST_SUITE_P(, DoctorRepairsTest, testing::ValuesIn(kFaults),
                         [](const auto& fault) { return fault.param.name; });

// --- what repairs leave as it is ---

class DoctorRepairTest : public testing::Test {
 protected:
  void repair() {
    const std::vector<Json> faults = findFaults();
    ASSERT_EQ(1U, faults.size()) << Json(faults).dump(1);
    runShell(faults[0]["repair"].get<std::string>());
  }

  Scene scene;
};

TEST_F(DoctorRepairTest, JobCounterGetsANumberAboveThoseOfTasks) {
  scene.place.writeJobCounter("1x");
  scene.place.directory.writeFile(std::string("var/taskqueue/") + kTask, "true\n");
  scene.place.directory.writeFile(
      "var/taskqueue/0050.20250303140509.node-J97.S0.T20250303140509-8.R0002.sh", "true\n");
  repair();
  EXPECT_EQ("98\n", scene.place.jobCounter());
}

TEST_F(DoctorRepairTest, ManyLeftoversAreDeletedAndNothingElse) {
  for (int task = 0; task < 60; ++task) {
    leaveTask(scene, numbered(task));
  }
  makeOld(scene.place.directory.writeFile("tmp/notes", ""));
  scene.place.directory.writeFile("tmp/" + numbered(100), "");  // perhaps being written
  repair();
  EXPECT_EQ((std::vector<std::string>{numbered(100), "notes"}), scene.place.temporary());
}

TEST_F(DoctorRepairTest, OtherFilesAreKeptBesideTheQueue) {
  scene.place.directory.writeFile(std::string("var/taskqueue/") + kTask, "true\n");
  scene.place.directory.writeFile("var/taskqueue/a b", "x");
  scene.place.directory.makeDirectory("var/taskqueue.other");
  repair();
  EXPECT_EQ(std::vector<std::string>{kTask}, scene.place.queue());
  EXPECT_EQ("x", readFile(scene.path("var/taskqueue.other2/a b")));
}

TEST_F(DoctorRepairTest, OnlyTheLinesAtFaultBecomeComments) {
  scene.place.writeHomePriorities("Normal=5\nUrgent 5\nLow=9\n");
  repair();
  EXPECT_EQ("Normal=5\n#Urgent 5\nLow=9\n", readFile(scene.path("home/priorities.cfg")));
}

TEST_F(DoctorRepairTest, IdentityKeepsWhatIsUsable) {
  scene.place.writeServerIdentity("# mine\nSELF_SERVER_ID = no/de 7\n");
  repair();
  EXPECT_EQ("# mine\nSELF_SERVER_ID=node7\n", readFile(scene.path("conf/serverid.cfg")));
}

// --- permissions ---

// velmo doctor as a user for whom permissions count; root gives up what exempts it from them.
class DoctorPermissionsTest : public testing::Test {
 protected:
  std::string asUser(const std::string& script) const {
    const std::string shell = "sh -c '" + script + "'";
    return geteuid() != 0
               ? shell
               : "setpriv --bounding-set=-dac_override,-dac_read_search,-fowner " + shell;
  }

  // The fault of a check; nothing if it has none.
  std::optional<Json> faultOf(const std::string& check) const {
    for (const Json& fault : faultsIn(runShell(asUser("velmo doctor --json")))) {
      if (fault["check"] == check) {
        return fault;
      }
    }
    return std::nullopt;
  }

  void expectRepair(const std::string& check, const std::string& command) {
    const std::optional<Json> fault = faultOf(check);
    ASSERT_TRUE(fault);
    EXPECT_EQ(command, (*fault)["repair"]);
    scene.place.environment.set("REPAIR", (*fault)["repair"].get<std::string>());
    runShell(asUser("eval \"$REPAIR\""));
    EXPECT_FALSE(faultOf(check)) << faultOf(check)->dump();
  }

  Scene scene;
};

TEST_F(DoctorPermissionsTest, OwnerPermitsWritingToADirectory) {
  scene.place.directory.setMode("tmp", 0500);
  expectRepair("tmp", "chmod u+rwx '" + scene.path("tmp") + "'");
}

TEST_F(DoctorPermissionsTest, OwnerPermitsReadingAPriorityFile) {
  scene.place.directory.setMode("home/priorities.cfg", 0200);
  expectRepair("home_priorities", "chmod 644 '" + scene.path("home/priorities.cfg") + "'");
}

TEST_F(DoctorPermissionsTest, OwnerPermitsEnteringTheDirectoryOfAFile) {
  scene.place.writeConfPriorities("Low=7\n");
  scene.place.directory.setMode("conf", 0600);
  expectRepair("conf_priorities", "chmod u+x '" + scene.path("conf") + "'");
}

TEST_F(DoctorPermissionsTest, OwnerPermitsReadingTheJobCounter) {
  scene.place.writeJobCounter("7");
  scene.place.directory.setMode("data/velmo/jobid", 0200);
  expectRepair("job_counter", "chmod 644 '" + scene.path("data/velmo/jobid") + "'");
}

TEST_F(DoctorPermissionsTest, ObstacleOfAnotherUserIsNamed) {
  std::string directory = "/usr";  // root's
  std::string owner = "0";
  if (geteuid() == 0) {
    directory = scene.path("lock");
    owner = "65534";
    ASSERT_EQ(0, chown(directory.c_str(), 65534, 65534));
  }
  scene.place.environment.set("LOCK_VAR", directory);
  const std::optional<Json> fault = faultOf("lock_directory");
  ASSERT_TRUE(fault);
  EXPECT_TRUE((*fault)["repair"].is_null());
  EXPECT_EQ("\"" + directory + "\" is the obstacle: it belongs to the user with the number " +
                owner +
                ", so run the program as this user, or ask this user or root to permit more",
            (*fault)["advice"]);
}

}  // namespace
}  // namespace velmo::test
