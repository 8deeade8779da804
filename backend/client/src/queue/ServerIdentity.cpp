#include "ServerIdentity.h"

#include "DecimalText.h"
#include "GivenTask.h"
#include "Joined.h"
#include "PropertiesFile.h"

namespace velmo::client {

namespace {

using brix::imutils::joined;

constexpr int kLongestJobNumber = 999999;

}  // namespace

ServerIdentity::ServerIdentity(const Settings& settings) {
  if (settings.conf.value.empty()) {
    return;
  }
  const Result<std::string> directory = directoryOf(settings.conf);
  if (!directory.isOk()) {
    m_failure = directory.fault();
    return;
  }
  m_path = directory.value() + "/serverid.cfg";
  const auto take = [this](const std::string& name, const char* value) {
    if (name == "SELF_SERVER_ID") {
      m_identity = value;
    }
  };
  m_failure = readProperties(m_path, Problem::ServerFileUnreadable, take).failure;
}

// Deliberate: an empty identity still has its hyphen, "-J17". All programs of a machine have to
// form the same identifiers.
Result<std::string> ServerIdentity::jobIdOf(int number) const {
  if (m_failure) {
    return *m_failure;
  }
  const brix::imutils::DecimalText digits(number);
  std::string id = m_identity ? joined({*m_identity, "-J", digits}) : joined({"J", digits});
  if (checkIdentifier("job", id)) {
    return unusable();
  }
  return id;
}

Result<std::string> ServerIdentity::longestJobId() const {
  return jobIdOf(kLongestJobNumber);
}

Fault ServerIdentity::unusable() const {
  return {Problem::ServerIdentityUnusable, m_path, m_identity.value_or("")};
}

}  // namespace velmo::client
