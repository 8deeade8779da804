#ifndef VELMO_PRIORITYTABLE_H
#define VELMO_PRIORITYTABLE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Fault.h"
#include "PropertiesFile.h"
#include "Settings.h"

namespace velmo::client {

/// A name in the files "priorities.cfg".
struct PriorityEntry {
  std::string name;
  std::optional<int> number;         ///< nothing: the value is not a number
  std::size_t file;                  ///< where it comes from: an index in PriorityTable::files()
  std::optional<std::size_t> hides;  ///< the other file in which the name has a value, too
};

/// The numbers of the priority classes and adjustments of an installation, from the files
/// "priorities.cfg". It never changes.
class PriorityTable {
 public:
  /// An empty table, of no file.
  PriorityTable() = default;

  /// Loads VELMO_HOME/priorities.cfg, then CONF/priorities.cfg, whose numbers win. Either variable
  /// and either file may be missing. A file that cannot be read is reported by the look-up that
  /// needs it.
  explicit PriorityTable(const Settings& settings);

  /// The priority of a class, raised by an adjustment.
  /// @param adjustment  empty: none
  Result<int> priorityOf(std::string_view className, std::string_view adjustment) const;

  /// The number of a class.
  Result<int> classNumber(std::string_view name) const;

  /// The number of an adjustment.
  Result<int> adjustmentNumber(std::string_view name) const;

  /// The files that were searched, in the order in which they were read.
  const std::vector<PropertiesFile>& files() const {
    return m_files;
  }

  /// Every name with the value that counts, in byte order.
  std::vector<PriorityEntry> entries() const;

  /// Whether no file has an entry.
  bool isEmpty() const {
    return m_entries.empty();
  }

  /// What was searched, for people: `"/a/priorities.cfg" (missing) and "/b/priorities.cfg"`.
  std::string searched() const;

  /// The names in a file whose values are not numbers, for people: `High, Low`. Empty if there are
  /// none.
  /// @param file  its index in files()
  std::string namesWithoutNumber(std::size_t file) const;

 private:
  struct Entry {
    std::optional<int> number;           // nothing: the value is not a number
    std::size_t file;                    // where it comes from
    std::optional<std::size_t> hides{};  // an earlier file
  };
  using Entries = std::unordered_map<std::string, Entry>;

  struct Words {
    Problem notConfigured;
    Problem withoutNumber;
  };

  void load(const Setting& setting);
  void add(const char* name, std::optional<int> number);
  Result<int> find(std::string_view name, const Words& words) const;
  Outcome unreadFrom(std::size_t firstFile) const;
  template <typename Condition>
  std::string names(Condition condition) const;

  Entries m_entries;
  std::vector<PropertiesFile> m_files;
};

}  // namespace velmo::client

#endif
