#ifndef VELMO_STANDIN_FAULT_H
#define VELMO_STANDIN_FAULT_H

#include <string>
#include <variant>

#include "Refusal.h"

namespace velmo::standin {

/// What a fault affects.
enum class FaultPlace {
  kInstallation,  ///< the counters; the fault lasts from start to end
  kHandshake,     ///< each connection
  kRequest,       ///< each request that would be queued
};

/// The ways to fail. The list that `--fault help` prints says what each does.
enum class FaultKind {
  kSilent,
  kDrip,
  kResetAfterRequest,
  kResetAfterReply,
  kWrongReply,
  kTooLarge,
  kPingFirst,
  kMasked,
  kClose,
  kHttp503,
  kNotRunning,
  kStaleLock,
};

/// A fault that the command line asks for.
struct Fault {
  FaultKind kind;
  FaultPlace place;
  std::string name;       ///< as on the command line: "close-1008"
  CloseCode closeCode{};  ///< of FaultKind::kClose only
};

/// The fault of a name, or what is wrong with the name, for people.
std::variant<Fault, std::string> parseFault(const std::string& name);

/// The line with which reports and close frames name the fault: "--fault silent".
std::string labelOf(const Fault& fault);

/// All kinds for people, a line each: the name, whether the task of a request is queued, what
/// happens.
std::string faultList();

}  // namespace velmo::standin

#endif
