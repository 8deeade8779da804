// A program that uses the installed package: it includes every public header that needs only the
// library, and catches the library's exceptions by type. It needs no service. It prints the
// language standard that it was compiled for.

#include <velmo/Config.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/IMException.h>
#include <velmo/IMMemSemaphore.h>
#include <velmo/IMProperties.h>
#include <velmo/IMSemaphore.h>
#include <velmo/JobManager.h>
#include <velmo/SystemConfig.h>
#include <velmo/VelmoFacade.h>
#include <velmo/VelmoFacadeWS.h>
#include <velmo/prioritiesconfig.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace brix::imutils;

namespace {

int g_failures = 0;

void check(bool holds, int line = __builtin_LINE()) {
  if (!holds) {
    std::cerr << "not so: line " << line << '\n';
    ++g_failures;
  }
}

// The text of the exception of this type that `call` throws; other exceptions pass.
template <typename Exception, typename Call>
std::string imMessageOf(const Call& call) {
  try {
    call();
  } catch (Exception& exception) {
    std::string text;
    exception.toString(text);
    return text;
  }
  return "nothing thrown";
}

template <typename Exception, typename Call>
std::string messageOf(const Call& call) {
  try {
    call();
  } catch (const Exception& exception) {
    return exception.what();
  }
  return "nothing thrown";
}

template <typename Exception, typename Call>
bool throws(const Call& call) {
  try {
    call();
  } catch (const Exception&) {
    return true;
  }
  return false;
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

class OneFileConfig : public Config {
 public:
  explicit OneFileConfig(const std::string& file) : Config(file) {}

  std::string value;

  void load() override {
    Config::load();
    value = m_properties.getProperty("name");
  }
};

class SevenGetter : public JobPropertyGetter {
 public:
  int getPriority() override {
    return 7;
  }
};

void useUtilities() {
  IMProperties properties;
  properties.setProperty("name", "value");
  check(properties.getProperty("name") == std::string("value"));
  check(properties.write("properties"));
  check(IMProperty("a", "b").getValue() == std::string("b"));

  OneFileConfig config("properties");
  config.check();
  check(config.value == "value");

  IMMemSemaphore memory(0, false);  // 0: a set that nobody else can reach
  check(memory.init());
  check(memory.lock());
  check(memory.unlock());
  check(memory.close());

  IMSemaphore semaphore("s", ".", true);
  check(semaphore.lock(-1));
  check(!IMSemaphore("s", ".", false).lockResource());

  check(!g_imVerbose && !g_imDebug);
  g_imVerbose = g_imDebug = true;
}

void catchWhatUtilitiesThrow() {
  const IMProperties properties;
  const auto nullName = [&properties] { properties.getProperty(nullptr); };
  const std::string assertion = imMessageOf<IMAssertionException>(nullName);
  check(assertion.rfind("ASSERT (name) in ", 0) == 0);
  check(imMessageOf<IMException>(nullName) == assertion);

  IMSemaphore held("held", ".", true);
  check(held.lockResource());
  const auto lockHeld = [] { IMSemaphore("held", ".", false).lock(-1); };
  check(imMessageOf<IMTimeoutException>(lockHeld) == "Timeout Exception: [1] Semaphore timed out");
  check(imMessageOf<IMException>(lockHeld) == "Timeout Exception: [1] Semaphore timed out");

  const auto lockNowhere = [] { IMSemaphore("n", "nowhere", false).lock(-1); };
  check(imMessageOf<IMIOException>(lockNowhere) ==
        "IO Exception: [2] Creating semaphore failed: n [No such file or directory]");
  check(throws<IMException>(lockNowhere));
}

int submit(const char* priorityType) {
  return createTaskFile(priorityType, "true", nullptr, nullptr, "J1", nullptr, nullptr, 0);
}

void useTaskFiles() {
  unsetenv("VELMO_HOME");
  check(submit(nullptr) == 1);
  check(messageOf<std::logic_error>([] { submit("Normal"); }) ==
        "basic_string::_M_construct null not valid");
  setenv("VELMO_HOME", ".", 1);
  check(submit("Normal") == -1);  // the keys of the task counter are not set
  check(throws<std::out_of_range>([] {
    createChildTask("Normal", "true", nullptr, nullptr, nullptr, "0", nullptr, nullptr, 0);
  }));

  const std::unique_ptr<char[]> jobId(generateJobID());
  check(jobId.get() == std::string("J0"));
  check(CreateTaskFile().generateJobID() == "J1");
  TaskFileDescriptor descriptor{"Normal", "command", nullptr, nullptr, "J1", nullptr, "info", 0};
  check(CreateTaskFile().getTaskContents(descriptor) == "command\ninfo\n");
}

void useConfigurations() {
  writeFile("priorities.cfg", "RELATIVE_PRIORITY_STAT_STUDY = -30\n");
  check(brix::velmo::PrioritiesConfig::Instance()->getRelativePriorityStatStudy() == -30);

  writeFile("modules.xml",
            "<system><machine id=\"m\" hostname=\"h\" rmi-port=\"1\"><host name=\"n\" "
            "websocket-port=\"2\"><module name=\"hollard\"/></host></machine></system>");
  const SystemConfig system("modules.xml");
  check(system.getMachines().size() == 1);
  const MachineConfig& machine = system.getMachines().front();
  check(machine.getId() + machine.getHostname() == "mh");
  const HostConfig& host = machine.getHosts().front();
  check(host.getName() == "n" && host.getWebSocketPort() == 2);
  check(host.getModules() == std::vector<ModuleType>{Hollard});
  check(throws<std::exception>([] { SystemConfig("nowhere.xml"); }));
}

void useJobs() {
  SevenGetter seven;
  JobManager jobs(".", 10, 0, "user", "name", &seven);
  const JobInfo* job = jobs.findJobInfo("key");
  check(job->m_id == "J2");
  check(job->m_priority == 7);
  check(job->m_jobInfo == "#1USE=user#1JNA=name");
  JobInfo("file", "J3", "u", "n", 1).createFile();
  check(std::filesystem::exists("file"));
}

void useMessages() {
  const auto connect = [] { VelmoFacadeWS("127.0.0.1", 0); };  // no service can listen on port 0
  const std::string refused = messageOf<VelmoException>(connect);
  check(refused != "nothing thrown" && !refused.empty());
  check(messageOf<std::runtime_error>(connect) == refused);

  SystemConfig::s_szModulesXml = "modules.xml";
  const auto lookUp = [] { VelmoFacade(); };
  check(messageOf<VelmoException>(lookUp) == "Velmo not configured in modules.xml");
  check(messageOf<std::runtime_error>(lookUp) == "Velmo not configured in modules.xml");

  check(static_cast<int>(convertTaskType(TASK_SHELL_SCRIPT)) == 2);
  check(VelmoFacadeWS::s_serviceUrl == std::string("/velmo"));
  // Calling it needs a connection of the networking library, so it is only linked.
  bool (*volatile send)(Poco::Net::WebSocket&, const char*, std::size_t, std::size_t) = sendBytes;
  check(send != nullptr);
}

void useAll() {
  std::filesystem::create_directory("velmo");  // the job counter's, in DATA
  for (const char* variable : {"CONF", "DATA", "LOCK_VAR"}) {
    setenv(variable, ".", 1);
  }
  unsetenv("SHARED_VELMO_TASKID");
  useUtilities();
  catchWhatUtilitiesThrow();
  useTaskFiles();
  useConfigurations();
  useJobs();
  useMessages();
}

}  // namespace

int main() {
  std::string directory = std::filesystem::temp_directory_path() / "velmo-consumer-XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) {
    return 1;
  }
  std::filesystem::current_path(directory);
  try {
    useAll();
  } catch (...) {
    check(false);  // not caught by its type
  }
  std::filesystem::current_path("/");
  std::filesystem::remove_all(directory);
  std::cout << "C++ " << __cplusplus << '\n';
  return g_failures == 0 ? 0 : 1;
}
