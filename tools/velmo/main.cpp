#include <velmo/velmo.hpp>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <exception>
#include <new>
#include <string>

#include "CommandLine.h"
#include "Failure.h"
#include "Session.h"

namespace {

using velmo::Status;

int report(velmo::cli::Session& session, Status status, const std::string& text) {
  session.err.tell("velmo: " + text + "\n");
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

// Ends as a program of a pipeline does when its reader is gone.
[[noreturn]] void endAsByPipe() {
  signal(SIGPIPE, SIG_DFL);
  raise(SIGPIPE);
  _exit(static_cast<int>(Status::systemError));
}

// A file or a socket that is opened later must not become a standard stream that was closed.
// Reading and writing still fail.
void fillStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) {
      open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  fillStandardStreams();
  // Neither a reader that is gone nor a limit of file sizes may end the program in mid-work.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  velmo::cli::Session session;
  try {
    return run(argc, argv, session);
  } catch (const velmo::cli::OutputClosed&) {
    endAsByPipe();
  }
}
