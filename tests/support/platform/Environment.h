#ifndef VELMO_TEST_ENVIRONMENT_H
#define VELMO_TEST_ENVIRONMENT_H

#include <map>
#include <optional>
#include <string>

namespace velmo::test {

/// Changes environment variables and restores them at the end of its scope.
class Environment {
 public:
  Environment() = default;
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  void set(const std::string& name, const std::string& value);
  void unset(const std::string& name);

 private:
  void remember(const std::string& name);

  std::map<std::string, std::optional<std::string>> m_before;
};

}  // namespace velmo::test

#endif
