#ifndef VELMO_STANDIN_STANDIN_H
#define VELMO_STANDIN_STANDIN_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "Child.h"
#include "FaultTrigger.h"
#include "Installation.h"
#include "Options.h"
#include "Service.h"
#include "ServiceAddressFile.h"
#include "SignalQueue.h"
#include "StaleLock.h"
#include "TaskCounter.h"
#include "TaskRunner.h"
#include "TaskSubmitter.h"
#include "UnknownClasses.h"

namespace velmo::standin {

/// One run of the program: an installation, its task counter, the tasks in its queue and, if the
/// options ask for them, COMMAND and the service that accepts tasks by message. The destructor ends
/// all of them.
class StandIn {
 public:
  /// @param signals  created before anything that has to be cleaned up; outlives this object
  /// @throws std::exception  if something cannot be created; what was created is removed
  StandIn(const Options& options, tools::SignalQueue& signals);

  /// Starts COMMAND, or prints the environment. Then serves until COMMAND has ended or a signal
  /// came, the requests that have begun are answered, and the queue is finished.
  /// @return the exit status of the program
  /// @throws std::exception  if it cannot go on
  int run();

 private:
  bool hasFault(FaultKind kind) const;
  std::unique_ptr<TaskCounter> makeCounter() const;
  std::unique_ptr<StaleLock> makeStaleLock() const;
  void openService(std::uint16_t port);
  int serve();
  bool isOver();
  bool isSubmittingOver();
  void wait() const;
  void takeSignals();
  void handle(const tools::EndSignal& signal);
  int exitStatus();
  bool hasSeenTasks() const;
  int endAtOnce();

  Options m_options;
  tools::SignalQueue& m_signals;
  Installation m_installation;
  std::unique_ptr<TaskCounter> m_counter;
  std::unique_ptr<StaleLock> m_staleLock;  ///< null: the job counter is not locked
  FaultTrigger m_faults;
  tools::Variables m_variables;
  UnknownClasses m_unknownClasses;
  std::unique_ptr<TaskRunner> m_runner;        ///< null: tasks are not run
  std::unique_ptr<TaskSubmitter> m_submitter;  ///< these three null: no tasks by message
  std::unique_ptr<Service> m_service;
  std::unique_ptr<ServiceAddressFile> m_addressFile;
  std::unique_ptr<tools::Child> m_command;  ///< null: there is no COMMAND
  std::optional<std::chrono::steady_clock::time_point> m_endRequested;
  std::optional<int> m_endingSignal;  ///< the second signal, which ends everything
};

}  // namespace velmo::standin

#endif
