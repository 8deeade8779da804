#include "EntryIndex.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace brix::imutils {

namespace {

constexpr std::size_t kFewEntries = 32;

}  // namespace

IMProperty* EntryIndex::find(const char* name) {
  if (m_entries.size() <= kFewEntries) {
    return findEntry(m_entries, name);
  }
  indexNewEntries();
  const auto found = m_table.find(name);
  return found != m_table.end() ? found->second : nullptr;
}

void EntryIndex::indexNewEntries() {
  auto next = m_table.empty() ? m_entries.begin() : std::next(m_lastIndexed);
  for (; next != m_entries.end(); ++next) {
    m_table.emplace((*next)->getName(), *next);
    m_lastIndexed = next;
  }
}

IMProperty* findEntry(const std::list<IMProperty*>& entries, const char* name) {
  const auto found = std::find_if(entries.begin(), entries.end(), [name](const IMProperty* entry) {
    return std::strcmp(entry->getName(), name) == 0;
  });
  return found != entries.end() ? *found : nullptr;
}

}  // namespace brix::imutils
