#include "PriorityTable.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <utility>

#include "Numbering.h"

namespace velmo::client {

namespace {

constexpr std::size_t kMostNames = 20;
constexpr std::size_t kLongestName = 60;  // of a name in a list

// The number at the start of a value, as "%d" reads it; text behind it does not count.
std::optional<int> leadingNumber(const char* text) {
  using Limits = std::numeric_limits<int>;
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(text, &end, 10);
  if (end == text || errno == ERANGE || number < Limits::min() || number > Limits::max()) {
    return std::nullopt;
  }
  return static_cast<int>(number);
}

std::string shortened(const std::string& name) {
  return name.size() <= kLongestName ? name : name.substr(0, kLongestName) + "...";
}

}  // namespace

PriorityTable::PriorityTable(const Settings& settings) {
  load(settings.velmoHome);
  load(settings.conf);
}

void PriorityTable::load(const Setting& setting) {
  if (setting.value.empty()) {
    return;
  }
  const Result<std::string> directory = directoryOf(setting);
  if (!directory.isOk()) {
    m_files.push_back({setting.value + "/priorities.cfg", false, directory.fault()});
    return;
  }
  const auto take = [this](const char* name, const char* value) {
    add(name, leadingNumber(value));
  };
  std::string path = directory.value() + "/priorities.cfg";
  if (m_files.empty() || m_files.front().path != path) {
    m_files.push_back(readProperties(std::move(path), Problem::PriorityFileUnreadable, take));
  }
}

// Within a file, the last value of a name counts.
void PriorityTable::add(const char* name, std::optional<int> number) {
  const std::size_t file = m_files.size();
  const auto [entry, isNew] = m_entries.try_emplace(name, Entry{number, file});
  if (!isNew && entry->second.file != file) {
    entry->second.hides = entry->second.file;
  }
  entry->second.number = number;
  entry->second.file = file;
}

std::vector<PriorityEntry> PriorityTable::entries() const {
  std::vector<PriorityEntry> entries;
  entries.reserve(m_entries.size());
  for (const auto& [name, entry] : m_entries) {
    entries.push_back({name, entry.number, entry.file, entry.hides});
  }
  std::sort(entries.begin(), entries.end(),
            [](const auto& left, const auto& right) { return left.name < right.name; });
  return entries;
}

Result<int> PriorityTable::priorityOf(std::string_view className,
                                      std::string_view adjustment) const {
  Result<int> priority = classNumber(className);
  if (!priority.isOk() || adjustment.empty()) {
    return priority;
  }
  Result<int> change = adjustmentNumber(adjustment);
  if (!change.isOk()) {
    return change;
  }
  return brix::velmo::adjustedPriority(priority.value(), change.value());
}

Result<int> PriorityTable::classNumber(std::string_view name) const {
  return find(name, {Problem::ClassNotConfigured, Problem::ClassWithoutNumber});
}

Result<int> PriorityTable::adjustmentNumber(std::string_view name) const {
  return find(name, {Problem::AdjustmentNotConfigured, Problem::AdjustmentWithoutNumber});
}

// A file that could not be read may hold another number for a name, unless a later file has it.
Result<int> PriorityTable::find(std::string_view name, const Words& words) const {
  if (m_files.empty()) {
    return Fault{Problem::PriorityFilesNotNamed};
  }
  const auto found = m_entries.find(std::string(name));
  const bool isFound = found != m_entries.end();
  if (Outcome failure = unreadFrom(isFound ? found->second.file : 0)) {
    return *std::move(failure);
  }
  if (!isFound) {
    const std::string known = names([](const Entry& entry) { return entry.number.has_value(); });
    return Fault{words.notConfigured, std::string(name),
                 searched() + "; known: " + (known.empty() ? "none" : known)};
  }
  if (!found->second.number) {
    return Fault{words.withoutNumber, std::string(name), m_files[found->second.file].path};
  }
  return *found->second.number;
}

Outcome PriorityTable::unreadFrom(std::size_t firstFile) const {
  for (std::size_t file = firstFile; file < m_files.size(); ++file) {
    if (m_files[file].failure) {
      return m_files[file].failure;
    }
  }
  return std::nullopt;
}

std::string PriorityTable::searched() const {
  std::string text;
  for (const PropertiesFile& file : m_files) {
    text +=
        (text.empty() ? "\"" : " and \"") + file.path + "\"" + (file.isMissing ? " (missing)" : "");
  }
  return text;
}

std::string PriorityTable::namesWithoutNumber(std::size_t file) const {
  return names(
      [file](const Entry& entry) { return entry.file == file && !entry.number.has_value(); });
}

// The first names in alphabetical order.
template <typename Condition>
std::string PriorityTable::names(Condition condition) const {
  std::vector<const std::string*> all;
  for (const auto& [name, entry] : m_entries) {
    if (condition(entry)) {
      all.push_back(&name);
    }
  }
  const std::size_t shown = std::min(all.size(), kMostNames);
  std::partial_sort(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(shown), all.end(),
                    [](const auto* left, const auto* right) { return *left < *right; });
  std::string text;
  for (std::size_t i = 0; i < shown; ++i) {
    text += (i > 0 ? ", " : "") + shortened(*all[i]);
  }
  return shown < all.size() ? text + ", ..." : text;
}

}  // namespace velmo::client
