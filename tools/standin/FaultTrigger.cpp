#include "FaultTrigger.h"

#include <utility>

namespace velmo::standin {

FaultTrigger::FaultTrigger(std::optional<Fault> fault, std::optional<std::uint32_t> count)
    : m_fault(std::move(fault)), m_left(count) {}

const Fault* FaultTrigger::strike(FaultPlace place) {
  if (!m_fault || m_fault->place != place) {
    return nullptr;
  }
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_left) {
    if (*m_left == 0) {
      return nullptr;
    }
    --*m_left;
  }
  return &*m_fault;
}

}  // namespace velmo::standin
