#include "Environment.h"

#include <cstdlib>

namespace velmo::test {

Environment::~Environment() {
  for (const auto& [name, value] : m_before) {
    if (value) {
      setenv(name.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name.c_str());
    }
  }
}

void Environment::set(const std::string& name, const std::string& value) {
  remember(name);
  setenv(name.c_str(), value.c_str(), 1);
}

void Environment::unset(const std::string& name) {
  remember(name);
  unsetenv(name.c_str());
}

void Environment::remember(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  m_before.try_emplace(name, value != nullptr ? std::optional<std::string>(value) : std::nullopt);
}

}  // namespace velmo::test
