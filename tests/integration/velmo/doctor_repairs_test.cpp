// Each fault of an installation: velmo doctor names it, and its repair, pasted into a shell, ends
// it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
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

using testing::HasSubstr;
using testing::Not;

constexpr const char* kTask = "0050.20250303140509.J41.S0.T20250303140509-7.R0002.sh";

// An installation without faults, and what only one fault needs.
struct Scene {
  Scene() {
    // Unless it is set, TMP is the place of the tests' directories.
    place.environment.set("TMPDIR", place.directory.path().parent_path());
    place.writeHomePriorities("Normal=500\n");
    place.writeJobCounter("41");
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

// In the place of an advice: a command repairs the fault.
constexpr const char* kByCommand = nullptr;

// A fault, and what velmo doctor finds then.
struct FaultCase {
  const char* name;
  std::function<void(Scene&)> make;
  const char* check;
  const char* status;
  const char* advice;  // whole, with {pid} for this process and {path} for the installation
};

void PrintTo(const FaultCase& fault, std::ostream* output) {  // NOLINT: the name is GoogleTest's
  *output << fault.name;
}

void makeOld(const std::string& path) {
  const std::array<timespec, 2> times{{{1'000'000, 0}, {1'000'000, 0}}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), 0));
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

pid_t takeSemaphoreAndEnd(int id) {
  const pid_t process = fork();
  if (process == 0) {
    sembuf take{0, -1, 0};
    _exit(semop(id, &take, 1) == 0 ? 0 : 1);
  }
  waitpid(process, nullptr, 0);
  return process;
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

void remove(const Scene& scene, const char* name) {
  fs::remove_all(scene.path(name));
}

const std::vector<FaultCase> kFaults{
    {"VarNotSet", [](Scene& s) { unset(s, "VAR"); }, "variables", "not_configured", kByCommand},
    {"TmpNotSet", [](Scene& s) { unset(s, "TMP"); }, "variables", "not_configured", kByCommand},
    {"TmpNotSetAndNowhere",
     [](Scene& s) {
       unset(s, "TMP");
       remove(s, "tmp");
     },
     "variables", "not_configured", kByCommand},
    {"DataNotSet", [](Scene& s) { unset(s, "DATA"); }, "variables", "not_configured", kByCommand},
    {"LockVarNotSet", [](Scene& s) { unset(s, "LOCK_VAR"); }, "variables", "not_configured",
     kByCommand},
    {"DataRelativeAndUnknown", [](Scene& s) { setVariable(s, "DATA", "data"); }, "variables",
     "not_configured", kByCommand},
    {"TmpRelative", [](Scene& s) { setVariable(s, "TMP", fs::relative(s.path("tmp")).string()); },
     "variables", "not_configured", kByCommand},
    {"ConfRelative", [](Scene& s) { setVariable(s, "CONF", "conf"); }, "variables",
     "not_configured", kByCommand},
    {"KeyNotSet", [](Scene& s) { unset(s, "SHARED_VELMO_TASKID"); }, "variables", "not_configured",
     "set SHARED_VELMO_TASKID to the key that the service uses"},
    {"KeyNotANumber", [](Scene& s) { setVariable(s, "SEMAPHORE_VELMO_TASKID", "0x17"); },
     "variables", "not_configured", "set SEMAPHORE_VELMO_TASKID to the key that the service uses"},
    {"QueueMissing", [](Scene& s) { remove(s, "var/taskqueue"); }, "queue", "not_configured",
     kByCommand},
    {"TmpMissing", [](Scene& s) { remove(s, "tmp"); }, "tmp", "not_configured", kByCommand},
    {"DataMissing", [](Scene& s) { remove(s, "data"); }, "data", "not_configured", kByCommand},
    {"LockDirectoryMissing", [](Scene& s) { remove(s, "lock"); }, "lock_directory",
     "not_configured", kByCommand},
    {"ConfMissing", [](Scene& s) { remove(s, "conf"); }, "conf", "not_configured", kByCommand},
    {"TmpBelowAFile", [](Scene& s) { setVariable(s, "TMP", s.path("home/priorities.cfg/tmp")); },
     "tmp", "not_configured", "a part of the path is not a directory: correct TMP"},
    {"VarMisspelt", [](Scene& s) { setVariable(s, "VAR", s.path("vra")); }, "queue",
     "not_configured", kByCommand},
    {"LockVarMisspelt", [](Scene& s) { setVariable(s, "LOCK_VAR", s.path("lokc")); },
     "lock_directory", "not_configured", kByCommand},
    {"LockVarMisspeltAndNowhere",
     [](Scene& s) {
       remove(s, "lock");
       setVariable(s, "LOCK_VAR", s.path("lokc"));
     },
     "lock_directory", "not_configured", "create it, or correct LOCK_VAR"},
    {"VarIsABrokenLink",
     [](Scene& s) {
       fs::create_symlink("nowhere", s.path("link"));
       setVariable(s, "VAR", s.path("link"));
     },
     "queue", "not_configured",
     "\"{path}/link\" is a link that leads nowhere: correct the link, or VAR"},
    {"TmpIsALoopOfLinks",
     [](Scene& s) {
       fs::create_symlink("loop", s.path("loop"));
       setVariable(s, "TMP", s.path("loop"));
     },
     "tmp", "not_configured", "correct TMP"},
    {"QueueIsAFile",
     [](Scene& s) {
       remove(s, "var/taskqueue");
       s.place.directory.writeFile("var/taskqueue", "");
     },
     "queue", "not_configured", kByCommand},
    {"LockVarNamesAFile",
     [](Scene& s) { setVariable(s, "LOCK_VAR", s.path("home/priorities.cfg")); }, "lock_directory",
     "not_configured", kByCommand},
    {"QueueOpenToAll", [](Scene& s) { s.place.directory.setMode("var/taskqueue", 0777); }, "queue",
     "not_configured", kByCommand},
    {"ConfOpenToAll", [](Scene& s) { s.place.directory.setMode("conf", 0757); }, "conf",
     "not_configured", kByCommand},
    {"TmpForAllUsers", [](Scene& s) { s.place.directory.setMode("tmp", 01777); }, "tmp",
     "not_configured", kByCommand},
    {"TmpForAllUsersBesideTheQueue",
     [](Scene& s) {
       setVariable(s, "TMP", s.place.directory.makeDirectory("var/tmp"));
       s.place.directory.setMode("var/tmp", 01777);
     },
     "tmp", "not_configured", kByCommand},
    {"TmpOnAnotherFileSystem",
     [](Scene& s) { setVariable(s, "TMP", keep<OtherFileSystem>(s)->path()); }, "one_file_system",
     "not_configured", kByCommand},
    {"TmpIsTheQueue", [](Scene& s) { setVariable(s, "TMP", s.path("var/taskqueue")); },
     "one_file_system", "not_configured", kByCommand},
    {"PrioritiesNotNamed",
     [](Scene& s) {
       unset(s, "VELMO_HOME");
       unset(s, "CONF");
     },
     "priorities", "not_configured", kByCommand},
    {"PrioritiesEmpty", [](Scene& s) { s.place.writeHomePriorities("# none"); }, "priorities",
     "not_configured", kByCommand},
    {"PrioritiesAreADirectory",
     [](Scene& s) { s.place.directory.makeDirectory("conf/priorities.cfg"); }, "conf_priorities",
     "not_configured", kByCommand},
    {"LinesSkipped",
     [](Scene& s) { s.place.writeHomePriorities("Normal=5\nUrgent 5\n\n =7\nLow=9\nHigh"); },
     "home_priorities", "not_configured", kByCommand},
    {"ClassesWithoutNumber",
     [](Scene& s) { s.place.writeConfPriorities("a=x\nNormal=5\nb = \na=\n"); }, "conf_priorities",
     "not_configured", kByCommand},
    {"IdentityUnusable",
     [](Scene& s) { s.place.writeServerIdentity("x=1\n SELF_SERVER_ID = no/de 7\n"); },
     "server_identity", "not_configured", kByCommand},
    {"IdentityIsAPipe",
     [](Scene& s) { ASSERT_EQ(0, mkfifo(s.path("conf/serverid.cfg").c_str(), 0600)); },
     "server_identity", "not_configured", kByCommand},
    {"JobCounterNotANumber", [](Scene& s) { s.place.writeJobCounter("abc"); }, "job_counter",
     "not_configured", kByCommand},
    {"JobCounterEmpty", [](Scene& s) { s.place.writeJobCounter(""); }, "job_counter",
     "not_configured", kByCommand},
    {"JobCounterIsADirectory",
     [](Scene& s) {
       remove(s, "data/velmo/jobid");
       s.place.directory.makeDirectory("data/velmo/jobid");
     },
     "job_counter", "not_configured", kByCommand},
    {"JobCounterIsAPipe",
     [](Scene& s) {
       remove(s, "data/velmo/jobid");
       ASSERT_EQ(0, mkfifo(s.path("data/velmo/jobid").c_str(), 0600));
     },
     "job_counter", "not_configured", kByCommand},
    {"JobCounterMissing",
     [](Scene& s) {
       remove(s, "data/velmo/jobid");
       s.place.directory.writeFile(std::string("var/taskqueue/") + kTask, "");
     },
     "job_counter", "not_configured", kByCommand},
    {"JobCounterCopyLeft",
     [](Scene& s) { s.place.directory.writeFile("data/velmo/jobid_tmp", "7"); }, "job_counter_copy",
     "not_configured", kByCommand},
    {"LockOfAProcessThatEnded", [](Scene& s) { writeLock(s, endedProcess()); }, "job_lock",
     "timed_out", kByCommand},
    {"LockOfARunningProcess", [](Scene& s) { writeLock(s, getpid()); }, "job_lock", "timed_out",
     "wait until the file is gone: process {pid} (tool_tests), which made it, is running; delete "
     "the file if no running program is taking a job number"},
    {"TasksLeftInTmp",
     [](Scene& s) {
       leaveTask(s, kTask);
       leaveTask(s, "0050.20250303140509.it's; a\nname.S0.T20250303140509-8.R0002.sh");
     },
     "leftovers", "not_configured", kByCommand},
    {"ManyTasksLeftInTmp",
     [](Scene& s) {
       for (int task = 0; task < 60; ++task) {
         leaveTask(s, numbered(task));
       }
     },
     "leftovers", "not_configured", kByCommand},
    {"ManyTasksLeftBehindALink",
     [](Scene& s) {
       for (int task = 0; task < 60; ++task) {
         leaveTask(s, numbered(task));
       }
       fs::create_symlink("tmp", s.path("link"));
       setVariable(s, "TMP", s.path("link"));
     },
     "leftovers", "not_configured", kByCommand},
    {"ManyOtherFilesInTheQueue",
     [](Scene& s) {
       for (int file = 0; file < 300; ++file) {
         s.place.directory.writeFile("var/taskqueue/\xff" + std::to_string(file), "");
       }
     },
     "queue_files", "not_configured", kByCommand},
    {"OtherFilesInTheQueue",
     [](Scene& s) {
       s.place.directory.writeFile("var/taskqueue/README", "");
       s.place.directory.writeFile("var/taskqueue/-it's\x1b[1m\xff $HOME", "");
       s.place.directory.makeDirectory("var/taskqueue/old");
     },
     "queue_files", "not_configured", kByCommand},
    {"UmaskHidesTasks", [](Scene&) { umask(077); }, "umask", "not_configured", kByCommand},
    {"TaskCounterMissing",
     [](Scene& s) { setVariable(s, "SHARED_VELMO_TASKID", keep<UnusedKey>(s)->text()); },
     "task_counter", "not_running", "start the service"},
    {"TaskCounterTooSmall",
     [](Scene& s) {
       setVariable(s, "SHARED_VELMO_TASKID", std::to_string(keep<TestSegment>(s, 2U)->key()));
     },
     "task_counter", "not_configured", "set SHARED_VELMO_TASKID to the key that the service uses"},
    {"SemaphoreMissing",
     [](Scene& s) { setVariable(s, "SEMAPHORE_VELMO_TASKID", keep<UnusedKey>(s)->text()); },
     "semaphore", "not_running", "start the service"},
    {"SemaphoreNeverReady", [](Scene& s) { s.place.semaphore.setValue(0); }, "semaphore",
     "not_running", "restart the service"},
    {"SemaphoreTakenByAProcessThatEnded",
     [](Scene& s) { takeSemaphoreAndEnd(s.place.semaphore.id()); }, "semaphore", "timed_out",
     "restart the service: only it sets the semaphore to 1 again"},
    {"SemaphoreAboveOne", [](Scene& s) { s.place.semaphore.setValue(2); }, "semaphore",
     "not_configured", "restart the service"},
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

constexpr const char* kHiddenAdvice =
    "wait until the file is gone: processes that may have made it are hidden from this one: run as "
    "root, outside of a container; delete the file if no running program is taking a job number";

void replace(std::string& text, const std::string& name, const std::string& value) {
  if (const std::size_t at = text.find(name); at != std::string::npos) {
    text.replace(at, name.size(), value);
  }
}

std::string filled(std::string advice, const Scene& scene) {
  replace(advice, "{pid}", std::to_string(getpid()));
  replace(advice, "{path}", scene.place.directory.path().string());
  return advice;
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
  const bool isHidden = faults[0]["check"] == "job_lock" && !seesEveryProcess();
  if (GetParam().advice != kByCommand || isHidden) {
    EXPECT_TRUE(faults[0]["repair"].is_null());
    EXPECT_EQ(isHidden ? kHiddenAdvice : filled(GetParam().advice, scene), faults[0]["advice"]);
    return;
  }
  const std::string repair = faults[0]["repair"].get<std::string>();
  const std::string output = runShell(repair + "\nvelmo doctor --json");
  const std::string findings = output.substr(output.find("{\"check\":\"variables\""));
  EXPECT_EQ(std::vector<Json>(), faultsIn(findings)) << repair << "\n" << output;
}

INSTANTIATE_TEST_SUITE_P(Faults, DoctorRepairsTest, testing::ValuesIn(kFaults),
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

TEST_F(DoctorRepairTest, FileThatWasEditedInTheMeantimeKeepsItsLines) {
  scene.place.writeHomePriorities("Normal=5\nUrgent 5\nLow=9\n");
  const std::vector<Json> faults = findFaults();
  ASSERT_EQ(1U, faults.size());
  scene.place.writeHomePriorities("Normal=5\nLow=9\nUrgent=5\n");
  runShell(faults[0]["repair"].get<std::string>());
  EXPECT_EQ("Normal=5\nLow=9\nUrgent=5\n", readFile(scene.path("home/priorities.cfg")));
}

TEST_F(DoctorRepairTest, IdentityThatIsNotUtf8IsReplacedWholeInAUtf8Locale) {
  scene.place.environment.set("LC_ALL", "C.UTF-8");
  scene.place.writeServerIdentity(
      "SELF_SERVER_ID=a/b\xff"
      "c/d\n");
  repair();
  EXPECT_EQ("SELF_SERVER_ID=abcd\n", readFile(scene.path("conf/serverid.cfg")));
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
        return std::make_optional<Json>(fault);
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
  expectRepair("home_priorities", "chmod u+r '" + scene.path("home/priorities.cfg") + "'");
}

TEST_F(DoctorPermissionsTest, OwnerPermitsEnteringTheDirectoryOfAFile) {
  scene.place.writeConfPriorities("Low=7\n");
  scene.place.directory.setMode("conf", 0600);
  expectRepair("conf_priorities", "chmod u+x '" + scene.path("conf") + "'");
}

TEST_F(DoctorPermissionsTest, OwnerPermitsReadingTheJobCounter) {
  scene.place.writeJobCounter("7");
  scene.place.directory.setMode("data/velmo/jobid", 0200);
  expectRepair("job_counter", "chmod u+rw '" + scene.path("data/velmo/jobid") + "'");
}

TEST_F(DoctorPermissionsTest, DirectoryThatCannotBeCreatedIsOnlyAdvised) {
  fs::remove(scene.path("lock"));
  scene.place.directory.setMode("", 0500);
  const std::optional<Json> fault = faultOf("lock_directory");
  scene.place.directory.setMode("", 0700);
  ASSERT_TRUE(fault);
  EXPECT_TRUE((*fault)["repair"].is_null());
  EXPECT_EQ("create \"" + scene.path("lock") + "\" as a user who may write to \"" +
                scene.path("lock").substr(0, scene.path("lock").rfind('/')) + "\"",
            (*fault)["advice"]);
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
  EXPECT_THAT(runShell((*fault)["look"].get<std::string>()),
              testing::MatchesRegex("d[^\n]* " + directory + "\n"));
}

// --- what shows more ---

// A socket with a port of this machine.
class PortHolder {
 public:
  PortHolder() : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(0, bind(m_socket, any, size));
    EXPECT_EQ(0, getsockname(m_socket, any, &size));
    m_port = ntohs(address.sin_port);
  }
  ~PortHolder() {
    close(m_socket);
  }
  PortHolder(const PortHolder&) = delete;
  PortHolder& operator=(const PortHolder&) = delete;

  void startToListen() const {
    EXPECT_EQ(0, listen(m_socket, 1));
  }

  std::string port() const {
    return std::to_string(m_port);
  }

 private:
  int m_socket;
  int m_port = 0;
};

class DoctorLookTest : public testing::Test {
 protected:
  // What the command of the only fault that has one shows.
  static std::string look(const std::vector<Json>& faults) {
    EXPECT_EQ(1U, faults.size()) << Json(faults).dump(1);
    return faults.empty() ? "" : runShell(faults[0]["look"].get<std::string>());
  }

  static std::string hexadecimal(int key) {
    std::array<char, 16> text{};
    snprintf(text.data(), text.size(), "0x%08x", static_cast<unsigned>(key));
    return text.data();
  }

  std::vector<Json> faultsOfService(const std::string& port) const {
    const std::string file = scene.place.directory.writeFile(
        "modules.xml", "<system><machine hostname='127.0.0.1'><host websocket-port='" + port +
                           "'><module name='velmo'/></host></machine></system>");
    return faultsIn(runTool({"doctor", "--json", "--connect", "--modules", file}).output);
  }

  Scene scene;
};

TEST_F(DoctorLookTest, KeysOfTaskCountersAreShown) {
  unset(scene, "SHARED_VELMO_TASKID");
  EXPECT_THAT(look(findFaults()), HasSubstr(hexadecimal(scene.place.counter.key())));
}

TEST_F(DoctorLookTest, KeysOfSemaphoresAreShown) {
  unset(scene, "SEMAPHORE_VELMO_TASKID");
  EXPECT_THAT(look(findFaults()), HasSubstr(hexadecimal(scene.place.semaphore.key())));
}

TEST_F(DoctorLookTest, ProcessThatTookTheSemaphoreLastIsShown) {
  const pid_t process = takeSemaphoreAndEnd(scene.place.semaphore.id());
  EXPECT_THAT(look(findFaults()), HasSubstr(" " + std::to_string(process) + " "));
}

TEST_F(DoctorLookTest, LockFileIsShown) {
  writeLock(scene, getpid());
  EXPECT_THAT(look(findFaults()), HasSubstr(scene.path("lock/semaphore_velmo_jobid") + "\n"));
}

TEST_F(DoctorLookTest, ListenerIsShownOnceItIsThere) {
  const PortHolder service;
  const std::vector<Json> faults = faultsOfService(service.port());
  EXPECT_THAT(look(faults), Not(HasSubstr("127.0.0.1:" + service.port())));
  service.startToListen();
  EXPECT_THAT(look(faults), HasSubstr("127.0.0.1:" + service.port()));
}

TEST_F(DoctorLookTest, ProgramThatListensIsShown) {
  const PortHolder service;
  service.startToListen();
  EXPECT_THAT(look(faultsOfService(service.port())), HasSubstr("pid=" + std::to_string(getpid())));
}

}  // namespace
}  // namespace velmo::test
