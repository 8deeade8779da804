#include "prioritiesconfig.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace brix::velmo {

namespace {

// Deliberate: two values for two states without a configured one. Programs take -50 as "not
// configured". Only an object that has not checked its file yet has -10: Instance() never returns
// it.
constexpr int kValueBeforeFirstCheck = -10;
constexpr int kValueAfterReset = -50;
constexpr long kCheckIntervalSeconds = 10;

std::vector<std::string> configurationFiles() {
  std::vector<std::string> files;
  if (const char* home = std::getenv("VELMO_HOME")) {
    files.push_back(home + std::string("/priorities.cfg"));
  }
  // Deliberate: the path in CONF is formed, but that file is never read. It belongs to the priority
  // classes; programs rely on a value that VELMO_HOME alone sets.
  if (const char* conf = std::getenv("CONF")) {
    static_cast<void>(conf + std::string("/priorities.cfg"));
  }
  return files;
}

}  // namespace

std::unique_ptr<PrioritiesConfig> PrioritiesConfig::INSTANCE;

namespace {

// Destroyed just before INSTANCE. A unique_ptr need not be null after its destructor, but an exit
// handler that runs even later may call Instance(). It then finds no object, and creates another.
struct ClearsInstance {
  ClearsInstance() = default;
  ClearsInstance(const ClearsInstance&) = delete;
  ClearsInstance& operator=(const ClearsInstance&) = delete;
  ~ClearsInstance() {
    PrioritiesConfig::INSTANCE.reset();
  }
};

const ClearsInstance g_clearsInstance;

}  // namespace

PrioritiesConfig* PrioritiesConfig::Instance() {
  if (INSTANCE == nullptr) {
    INSTANCE = std::make_unique<PrioritiesConfig>();
  }
  INSTANCE->check();
  return INSTANCE.get();
}

PrioritiesConfig::PrioritiesConfig() : m_relativePriorityStatStudy(kValueBeforeFirstCheck) {
  m_checkInterval = kCheckIntervalSeconds;
  m_files = configurationFiles();
}

PrioritiesConfig::~PrioritiesConfig() = default;

void PrioritiesConfig::reset() {
  Config::reset();
  m_relativePriorityStatStudy = kValueAfterReset;
}

void PrioritiesConfig::load() {
  Config::load();
  const char* text = m_properties.getProperty("RELATIVE_PRIORITY_STAT_STUDY");
  if (text == nullptr) {
    return;
  }
  errno = 0;
  const long value = std::strtol(text, nullptr, 10);
  if (errno == 0) {
    m_relativePriorityStatStudy = static_cast<int>(value);
  }
}

int PrioritiesConfig::getRelativePriorityStatStudy() const {
  return m_relativePriorityStatStudy;
}

}  // namespace brix::velmo
