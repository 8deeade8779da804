#include "Config.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <limits>
#include <optional>

#include "ModificationTime.h"

namespace brix::imutils {

namespace {

// A sum beyond the range of time_t counts as the nearest one within it.
time_t addSeconds(time_t start, long seconds) {
  time_t sum = 0;
  if (__builtin_add_overflow(start, seconds, &sum)) {
    return seconds > 0 ? std::numeric_limits<time_t>::max() : std::numeric_limits<time_t>::min();
  }
  return sum;
}

std::optional<time_t> newestModification(const std::vector<std::string>& files) {
  std::optional<time_t> newest;
  for (const std::string& file : files) {
    if (file.empty()) {
      continue;
    }
    if (const std::optional<time_t> modified = modificationTime(file)) {
      newest = std::max(newest.value_or(*modified), *modified);
    }
  }
  return newest;
}

}  // namespace

Config::Config() = default;

Config::Config(const std::vector<std::string>& fileNames) : m_files(fileNames) {}

Config::Config(const std::string& file) : m_files(1, file) {}

Config::~Config() = default;

void Config::reset() {
  m_properties.clear();
}

void Config::load() {
  for (const std::string& file : m_files) {
    try {
      if (!m_properties.load(file.c_str())) {
        std::cerr << "Warning: error loading " << file << std::endl;
      }
    } catch (...) {
      // Deliberate: a file that throws is skipped, and the files after it are loaded; programs call
      // check() without a handler. Without a current C++ exception, the thread is being cancelled,
      // and to stop that would end the process.
      if (std::current_exception() == nullptr) {
        throw;
      }
    }
  }
}

void Config::check() {
  const time_t now = time(nullptr);
  if (m_nextCheck > now) {
    return;
  }
  m_nextCheck = addSeconds(now, m_checkInterval);

  const std::optional<time_t> newest = newestModification(m_files);
  if (!newest) {
    reset();
    m_lastModified = 0;
    return;
  }
  // Deliberate: only a newer time counts; a file replaced by an older one is not reloaded. Derived
  // classes rely on it: without a newer file they keep the values they have.
  if (m_lastModified >= *newest) {
    return;
  }
  m_lastModified = *newest;
  reset();
  load();
}

}  // namespace brix::imutils
