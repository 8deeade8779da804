#ifndef VELMO_ENTRYINDEX_H
#define VELMO_ENTRYINDEX_H

#include <cstddef>
#include <list>
#include <vector>

#include "IMProperties.h"

namespace brix::imutils {

/// Finds entries of a list by name while the list grows at its end. A few entries are searched; of
/// many a table is kept, because searching them for each line of a file takes time that grows with
/// the square of its length.
class EntryIndex {
 public:
  /// @param entries  may grow at the end and must not shrink; each name occurs once
  explicit EntryIndex(const std::list<IMProperty*>& entries) : m_entries(entries) {}

  /// @return null if no entry has this name
  IMProperty* find(const char* name);

 private:
  struct Slot {
    std::size_t hash;
    IMProperty* entry;  // null: the slot is free
  };

  void indexNewEntries();
  void makeRoom();
  void insert(const Slot& slot);

  const std::list<IMProperty*>& m_entries;
  std::list<IMProperty*>::const_iterator m_lastIndexed;  // if an entry is indexed
  std::size_t m_indexed = 0;
  std::vector<Slot> m_slots;  // as many as a power of two, at least half of them free
};

/// The first entry of a list with this name, or null.
IMProperty* findEntry(const std::list<IMProperty*>& entries, const char* name);

}  // namespace brix::imutils

#endif
