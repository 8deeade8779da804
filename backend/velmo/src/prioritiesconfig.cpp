#include "prioritiesconfig.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace brix::velmo {

namespace {

constexpr int kValueBeforeFirstCheck = -10;
constexpr int kValueAfterReset = -50;
constexpr long kCheckIntervalSeconds = 10;

std::vector<std::string> configurationFiles() {
  std::vector<std::string> files;
  if (const char* home = std::getenv("VELMO_HOME")) {
    files.push_back(home + std::string("/priorities.cfg"));
  }
  // Deliberate: CONF is consulted and its path formed, but the file there is never read. It holds
  // priority classes; this value is the service's own.
  if (const char* conf = std::getenv("CONF")) {
    static_cast<void>(conf + std::string("/priorities.cfg"));
  }
  return files;
}

}  // namespace

std::unique_ptr<PrioritiesConfig> PrioritiesConfig::INSTANCE;

namespace {

// Destroyed just before INSTANCE. The destructor of a unique_ptr need not clear it, and an exit
// handler that runs later still may call Instance(): it then finds no object, and makes another.
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
