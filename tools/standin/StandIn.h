#ifndef VELMO_STANDIN_STANDIN_H
#define VELMO_STANDIN_STANDIN_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "Child.h"
#include "Installation.h"
#include "ModulesFile.h"
#include "Options.h"
#include "Service.h"
#include "SignalQueue.h"
#include "TaskCounter.h"
#include "TaskRunner.h"
#include "TaskSubmitter.h"
#include "UnknownClasses.h"

namespace standin {

/// One run of the program: an installation, its task counter, the tasks in its queue and, if there
/// are such, COMMAND and the service that takes tasks by message. All of it ends with the object.
class StandIn {
 public:
  /// @param signals  made before anything that has to be cleaned up; outlives this object
  /// @throws std::exception  when something cannot be made; what was made is removed
  StandIn(const Options& options, SignalQueue& signals);

  /// Starts COMMAND, or prints the environment; then serves until the end of COMMAND or a signal,
  /// until the requests that have begun are answered, and until the queue is done.
  /// @return the exit status of the program
  /// @throws std::exception  when it cannot go on
  int run();

 private:
  void openService(std::uint16_t port);
  int serve();
  bool isOver();
  bool isSubmittingOver();
  void wait() const;
  void takeSignals();
  void handle(const EndSignal& signal);
  int exitStatus();
  bool hasSeenTasks() const;
  int endAtOnce();

  Options m_options;
  SignalQueue& m_signals;
  Installation m_installation;
  TaskCounter m_counter;
  Variables m_variables;
  UnknownClasses m_unknownClasses;
  std::unique_ptr<TaskRunner> m_runner;        ///< null: tasks are not run
  std::unique_ptr<TaskSubmitter> m_submitter;  ///< these three null: no tasks by message
  std::unique_ptr<Service> m_service;
  std::unique_ptr<ModulesFile> m_modules;
  std::unique_ptr<Child> m_command;  ///< null: there is no COMMAND
  std::optional<std::chrono::steady_clock::time_point> m_endRequested;
  std::optional<int> m_endingSignal;  ///< the second one, which ends everything
};

}  // namespace standin

#endif
