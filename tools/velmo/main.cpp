#include <velmo/velmo.hpp>

#include <signal.h>

#include <exception>
#include <new>
#include <string>

#include "CommandLine.h"
#include "Failure.h"
#include "Session.h"

namespace {

using velmo::Status;

int report(velmo::cli::Session& session, Status status, const std::string& text) {
  session.err.writeLine("velmo: " + text);
  return static_cast<int>(status);
}

int run(int argc, char** argv, velmo::cli::Session& session) {
  try {
    velmo::cli::CommandLine commands;
    return static_cast<int>(commands.run({argv + (argc > 0 ? 1 : 0), argv + argc}, session));
  } catch (const velmo::Error& failure) {
    return report(session, failure.status(), failure.what());
  } catch (const velmo::cli::Failure& failure) {
    return report(session, failure.status(), failure.what());
  } catch (const std::bad_alloc&) {
    return report(session, Status::outOfMemory, "out of memory");
  } catch (const std::exception& failure) {
    return report(session, Status::systemError, failure.what());
  }
}

// As the programs of a pipeline end whose reader has ended.
[[noreturn]] void endAsByPipe() {
  signal(SIGPIPE, SIG_DFL);
  raise(SIGPIPE);
  _exit(static_cast<int>(Status::systemError));
}

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);  // a reader that is gone ends nothing half-way
  velmo::cli::Session session;
  try {
    return run(argc, argv, session);
  } catch (const velmo::cli::OutputClosed&) {
    endAsByPipe();
  } catch (const velmo::cli::Failure& failure) {  // standard error cannot be written either
    return static_cast<int>(failure.status());
  }
}
