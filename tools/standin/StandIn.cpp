#include "StandIn.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "FileDescriptor.h"
#include "MissingTaskCounter.h"
#include "Report.h"
#include "SystemError.h"
#include "TemporaryTaskCounter.h"

namespace velmo::standin {

using tools::Child;
using tools::EndSignal;
using tools::FileDescriptor;
using tools::SignalQueue;
using tools::systemError;
using tools::Variables;

namespace {

constexpr int kSuccess = 0;
constexpr int kTaskFailed = 123;
constexpr int kCannotExecute = 126;
constexpr int kNotFound = 127;
constexpr int kSignalBase = 128;

// Some programs send two signals at once: timeout(1) signals its child and then the whole group,
// and a session that ends sends SIGTERM and SIGHUP. Both count as one request to end; a person's
// second signal comes later.
constexpr std::chrono::milliseconds kSameRequest{100};

Variables joined(Variables first, const Variables& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

void writeToOutput(std::string_view text) {
  if (!tools::writeWhole(STDOUT_FILENO, text)) {
    throw systemError("cannot print the environment");
  }
}

// A shell that reads the environment from a pipe waits for its end.
void closeOutput() {
  const FileDescriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
  if (!nowhere.isOpen() || dup2(nowhere.get(), STDOUT_FILENO) < 0) {
    throw systemError("cannot close standard output");
  }
}

}  // namespace

StandIn::StandIn(const Options& options, SignalQueue& signals)
    : m_options(options),
      m_signals(signals),
      m_installation(options.home, options.keep),
      m_counter(makeCounter()),
      m_staleLock(makeStaleLock()),
      m_faults(options.fault, options.faultCount),
      m_variables(joined(m_installation.variables(), m_counter->variables())),
      m_unknownClasses(m_installation) {
  if (options.port) {
    openService(*options.port);
  }
  if (options.keep && options.home.empty()) {
    report("the installation stays in " + m_installation.directory().string());
  }
  if (options.run && !hasFault(FaultKind::kNotRunning)) {
    m_runner =
        std::make_unique<TaskRunner>(m_installation, tools::environmentWith(m_variables, environ),
                                     options.showOutput, m_unknownClasses);
  }
}

bool StandIn::hasFault(FaultKind kind) const {
  return m_options.fault && m_options.fault->kind == kind;
}

std::unique_ptr<TaskCounter> StandIn::makeCounter() const {
  if (hasFault(FaultKind::kNotRunning)) {
    return std::make_unique<MissingTaskCounter>();
  }
  return std::make_unique<TemporaryTaskCounter>();
}

std::unique_ptr<StaleLock> StandIn::makeStaleLock() const {
  if (!hasFault(FaultKind::kStaleLock)) {
    return nullptr;
  }
  return std::make_unique<StaleLock>(m_installation.directory() / "lock");
}

void StandIn::openService(std::uint16_t port) {
  m_submitter = std::make_unique<TaskSubmitter>(m_installation, m_variables, m_unknownClasses);
  m_service = std::make_unique<Service>(port, *m_submitter, m_faults);
  m_addressFile =
      std::make_unique<ServiceAddressFile>(m_installation.modulesFile(), m_service->port());
  m_variables.emplace_back("VELMO_MODULES_XML", m_installation.modulesFile());
}

int StandIn::run() {
  if (m_options.command.empty()) {
    writeToOutput(tools::exportLines(m_variables));
    closeOutput();
    return serve();
  }
  try {
    m_command = std::make_unique<Child>(m_options.command,
                                        tools::environmentWith(m_variables, environ), std::nullopt);
  } catch (const std::system_error& failure) {
    report(std::string("cannot run ") + failure.what());
    return failure.code() == std::errc::no_such_file_or_directory ? kNotFound : kCannotExecute;
  }
  return serve();
}

int StandIn::serve() {
  if (m_service != nullptr) {
    m_service->start();  // after COMMAND, which must not inherit a connection
  }
  while (!isOver()) {
    wait();
    takeSignals();
    if (m_endingSignal) {
      return endAtOnce();
    }
  }
  return exitStatus();
}

int StandIn::exitStatus() {
  const int status = m_command != nullptr ? m_command->poll()->shellStatus() : kSuccess;
  if (status != kSuccess) {
    const bool isExpected = m_endRequested || m_options.fault;
    if (!isExpected && m_service == nullptr && !hasSeenTasks()) {
      report("no task was submitted; a program that submits by message needs --port 0");
    }
    return status;
  }
  const bool hasFailedTask = m_runner != nullptr && m_runner->hasFailed();
  return m_options.failOnTask && hasFailedTask ? kTaskFailed : kSuccess;
}

bool StandIn::hasSeenTasks() const {
  std::error_code ignored;  // then the queue does not count as empty
  return m_runner != nullptr ? m_runner->hasSeenFiles()
                             : !std::filesystem::is_empty(m_installation.queueDirectory(), ignored);
}

// Checks the submitters before the queue: the last task that they submit is then in the queue when
// the queue is read.
bool StandIn::isOver() {
  const bool noneToCome = isSubmittingOver();
  const bool busy = m_runner != nullptr && m_runner->proceed();
  return noneToCome && !busy;
}

bool StandIn::isSubmittingOver() {
  const bool isEnding =
      m_command != nullptr ? m_command->poll().has_value() : m_endRequested.has_value();
  if (!isEnding || m_service == nullptr) {
    return isEnding;
  }
  m_service->finish();
  return m_service->isFinished();
}

void StandIn::wait() const {
  const int queue = m_runner != nullptr ? m_runner->watchDescriptor() : -1;
  // The descriptor of a finished service stays readable, and poll would return at once for ever.
  const bool isServing = m_service != nullptr && !m_service->isFinished();
  const int service = isServing ? m_service->finishedDescriptor() : -1;
  std::array<pollfd, 3> descriptors{pollfd{m_signals.descriptor(), POLLIN, 0},
                                    pollfd{queue, POLLIN, 0}, pollfd{service, POLLIN, 0}};
  if (poll(descriptors.data(), descriptors.size(), -1) < 0 && errno != EINTR) {
    throw systemError("cannot wait");
  }
}

void StandIn::takeSignals() {
  while (const std::optional<EndSignal> signal = m_signals.takeEndSignal()) {
    handle(*signal);
  }
}

void StandIn::handle(const EndSignal& signal) {
  const auto now = std::chrono::steady_clock::now();
  if (m_endRequested) {
    if (now - *m_endRequested > kSameRequest) {
      m_endingSignal = signal.number;
    }
    return;
  }
  m_endRequested = now;
  if (m_command != nullptr && !signal.fromTerminal) {
    m_command->signal(signal.number);
  }
}

int StandIn::endAtOnce() {
  if (m_runner != nullptr) {
    m_runner->abandon();
  }
  if (m_command != nullptr) {
    m_command->kill();
  }
  return kSignalBase + *m_endingSignal;
}

}  // namespace velmo::standin
