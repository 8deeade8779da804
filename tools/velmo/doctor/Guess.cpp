#include "Guess.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

namespace velmo::cli {

namespace {

namespace fs = std::filesystem;

// The directory in which a variable has its usual name; empty if it has another one.
std::string baseOf(const Place& place, const client::Settings& settings) {
  const client::Result<std::string> value = client::directoryOf(settingOf(place, settings));
  if (!value.isOk() || place.name == nullptr) {
    return {};
  }
  const fs::path path = fs::path(value.value() + "/").lexically_normal().parent_path();
  return path.filename() == place.name ? path.parent_path().string() : std::string();
}

}  // namespace

bool leadsToDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isBesideOthers(const Place& place, const client::Settings& settings) {
  const std::string own = baseOf(place, settings);
  for (std::size_t index = 0; const Place* other = placeAt(index); ++index) {
    if (!own.empty() && other != &place && baseOf(*other, settings) == own &&
        leadsToDirectory(settingOf(*other, settings).value)) {
      return true;
    }
  }
  return false;
}

std::string absolutePath(const std::string& path) {
  std::error_code error;
  const fs::path directory = fs::current_path(error);
  std::string text = (directory / path).lexically_normal().string();
  while (text.size() > 1 && text.back() == '/') {
    text.pop_back();
  }
  return text;
}

std::optional<std::string> guessOf(const Place& place, const client::Settings& settings) {
  if (place.name == nullptr) {
    return std::nullopt;
  }
  for (std::size_t index = 0; const Place* other = placeAt(index); ++index) {
    const std::string base = other != &place ? baseOf(*other, settings) : std::string();
    const std::string directory = (base == "/" ? "" : base) + "/" + place.name;
    if (!base.empty() && leadsToDirectory(directory)) {
      return directory;
    }
  }
  return std::nullopt;
}

}  // namespace velmo::cli
