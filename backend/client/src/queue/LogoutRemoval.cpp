#include "LogoutRemoval.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <optional>

#include "Listing.h"
#include "PropertiesFile.h"

namespace velmo::client {

namespace {

constexpr uid_t kFirstOrdinaryUser = 1000;

// A truth value of systemd's; nothing for another text.
std::optional<bool> truthOf(const char* text) {
  const auto isText = [text](const char* value) { return strcasecmp(text, value) == 0; };
  constexpr std::array<const char*, 6> kTrue{"1", "yes", "y", "true", "t", "on"};
  constexpr std::array<const char*, 6> kFalse{"0", "no", "n", "false", "f", "off"};
  if (std::any_of(kTrue.begin(), kTrue.end(), isText)) {
    return true;
  }
  return std::any_of(kFalse.begin(), kFalse.end(), isText) ? std::optional<bool>(false)
                                                           : std::nullopt;
}

// The last setting counts. A file that cannot be read has none.
void readSetting(const std::string& path, bool& isRemoved) {
  const auto take = [&isRemoved](const char* name, const char* value) {
    if (std::strcmp(name, "RemoveIPC") == 0) {
      isRemoved = truthOf(value).value_or(isRemoved);
    }
  };
  static_cast<void>(readProperties(path, Problem::FileNotRegular, take));
}

bool endsWithConf(const std::string& name) {
  const std::string end = ".conf";
  return name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
}

// The files beside logind.conf, in the order in which they count. Of two with the same name, the
// one in the later directory counts.
std::map<std::string, std::string> filesBeside(const std::string& root) {
  std::map<std::string, std::string> paths;
  for (const char* place : {"/usr/lib", "/usr/local/lib", "/run", "/etc"}) {
    const std::string directory = root + place + "/systemd/logind.conf.d";
    for (const std::string& name : namesIn(directory).names) {
      if (endsWithConf(name)) {
        paths[name] = directory + "/" + name;
      }
    }
  }
  return paths;
}

}  // namespace

bool isRemovedAtLogout(uid_t user, const std::string& root) {
  const std::string systemd = root + "/run/systemd/system";
  if (user < kFirstOrdinaryUser || access(systemd.c_str(), F_OK) != 0) {
    return false;
  }
  bool isRemoved = true;
  readSetting(root + "/etc/systemd/logind.conf", isRemoved);
  for (const auto& [name, path] : filesBeside(root)) {
    readSetting(path, isRemoved);
  }
  return isRemoved;
}

}  // namespace velmo::client
