#include "EntryIndex.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <string_view>

namespace brix::imutils {

namespace {

constexpr std::size_t kFewEntries = 32;
constexpr std::size_t kFirstSlots = 256;

std::size_t hashOf(const char* name) {
  return std::hash<std::string_view>()(name);
}

}  // namespace

// Deliberate: not a std::unordered_map. For a large file, following its pointers takes longer than
// reading the lines.

IMProperty* EntryIndex::find(const char* name) {
  if (m_entries.size() <= kFewEntries) {
    return findEntry(m_entries, name);
  }
  indexNewEntries();
  const std::size_t hash = hashOf(name);
  const std::size_t last = m_slots.size() - 1;
  for (std::size_t i = hash & last; m_slots[i].entry != nullptr; i = (i + 1) & last) {
    if (m_slots[i].hash == hash && std::strcmp(m_slots[i].entry->getName(), name) == 0) {
      return m_slots[i].entry;
    }
  }
  return nullptr;
}

void EntryIndex::indexNewEntries() {
  auto next = m_indexed == 0 ? m_entries.begin() : std::next(m_lastIndexed);
  for (; next != m_entries.end(); ++next) {
    makeRoom();
    insert({hashOf((*next)->getName()), *next});
    m_lastIndexed = next;
    ++m_indexed;
  }
}

// The order of equal names would be lost here, but each name occurs once.
void EntryIndex::makeRoom() {
  if (2 * (m_indexed + 1) <= m_slots.size()) {
    return;
  }
  std::vector<Slot> before(std::max(kFirstSlots, 2 * m_slots.size()));
  before.swap(m_slots);
  for (const Slot& slot : before) {
    if (slot.entry != nullptr) {
      insert(slot);
    }
  }
}

void EntryIndex::insert(const Slot& slot) {
  const std::size_t last = m_slots.size() - 1;
  std::size_t i = slot.hash & last;
  while (m_slots[i].entry != nullptr) {
    i = (i + 1) & last;
  }
  m_slots[i] = slot;
}

IMProperty* findEntry(const std::list<IMProperty*>& entries, const char* name) {
  const auto found = std::find_if(entries.begin(), entries.end(), [name](const IMProperty* entry) {
    return std::strcmp(entry->getName(), name) == 0;
  });
  return found != entries.end() ? *found : nullptr;
}

}  // namespace brix::imutils
