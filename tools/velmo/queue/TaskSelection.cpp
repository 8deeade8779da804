#include "TaskSelection.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace velmo::cli {

namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

}  // namespace

TaskSelection::TaskSelection(TaskFilter filter, std::optional<std::int64_t> limit)
    : m_filter(std::move(filter)), m_limit(limit ? static_cast<std::size_t>(*limit) : kNoLimit) {}

bool TaskSelection::passes(const std::string& name) {
  if (m_filter.isEmpty()) {
    return true;
  }
  const std::optional<TaskName> parts = parseName(name);
  return parts && m_filter.passes(*parts);
}

void TaskSelection::add(std::string name) {
  if (!passes(name)) {
    return;
  }
  ++m_count;
  m_names.push_back(std::move(name));
  if (m_limit == kNoLimit) {
    return;
  }
  std::push_heap(m_names.begin(), m_names.end());
  if (m_names.size() > m_limit) {
    std::pop_heap(m_names.begin(), m_names.end());
    m_names.pop_back();
  }
}

std::vector<std::string> TaskSelection::takeNames() {
  std::sort(m_names.begin(), m_names.end());
  return std::exchange(m_names, {});
}

}  // namespace velmo::cli
