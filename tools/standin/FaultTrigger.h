#ifndef VELMO_STANDIN_FAULTTRIGGER_H
#define VELMO_STANDIN_FAULTTRIGGER_H

#include <cstdint>
#include <mutex>
#include <optional>

#include "Fault.h"

namespace velmo::standin {

/// Says for each connection and each request whether the fault strikes. Any thread may ask.
class FaultTrigger {
 public:
  /// @param fault  nothing: none ever strikes
  /// @param count  how often it strikes, from the first time on; nothing: always
  FaultTrigger(std::optional<Fault> fault, std::optional<std::uint32_t> count);

  /// @return the fault, if it affects this place and strikes now; otherwise null
  const Fault* strike(FaultPlace place);

 private:
  const std::optional<Fault> m_fault;
  std::mutex m_mutex;
  std::optional<std::uint32_t> m_left;
};

}  // namespace velmo::standin

#endif
