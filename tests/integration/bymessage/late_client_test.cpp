// The library is loaded into a program that already has threads. The networking library blocks
// SIGPIPE only in the thread that loads it; in the other threads it stays unblocked.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "ClientProcess.h"
#include "ScriptedPeer.h"
#include "SigPipe.h"

namespace {

using velmo::test::blocksSigPipe;
using velmo::test::ClientOutcome;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::runAgainst;
using velmo::test::Tell;

std::string disposition() {
  struct sigaction action {};
  sigaction(SIGPIPE, nullptr, &action);
  return action.sa_handler == SIG_DFL ? "default" : "changed";
}

using Submit = int(unsigned short port, int times);

// Starts a thread, loads the module, and lets the thread run `body` with the module's function.
void loadUnderAThread(const std::function<void(Submit*)>& body) {
  std::promise<Submit*> loaded;
  std::thread early([&body, function = loaded.get_future()]() mutable { body(function.get()); });
  void* const module = dlopen(LATE_CLIENT, RTLD_NOW);
  loaded.set_value(reinterpret_cast<Submit*>(dlsym(module, "submitToNobody")));
  early.join();
}

const PeerScript kClosesAtOnce = [](PeerConnection& peer) { peer.upgrade(); };

TEST(LateClientTest, PeerThatHasGoneIsAVelmoExceptionInAThreadFromBefore) {
  const ClientOutcome outcome =
      runAgainst({kClosesAtOnce}, [](unsigned short port, const Tell& tell) {
        loadUnderAThread([port, &tell](Submit* submit) {
          tell(blocksSigPipe() ? "blocked" : "not blocked");
          tell(std::to_string(submit(port, 4)));
          tell(blocksSigPipe() ? "blocked" : "not blocked");
          tell(disposition());
          std::_Exit(0);
        });
      });
  EXPECT_EQ("not blocked; 4; not blocked; default; ", outcome.report) << outcome.errors;
  EXPECT_EQ("exit 0", outcome.end);
}

// --- exit handlers of the program ---

struct Priorities {
  std::function<int()> relativePriority;
  std::function<bool()> areGone;
  Tell tell;
};

Priorities& priorities() {
  static auto* const instance = new Priorities;  // outlives every exit handler
  return *instance;
}

// Registered before the library is loaded, so it runs after the library's static objects are
// destroyed.
void askWhenTheLibraryHasGone() {
  priorities().tell(priorities().areGone() ? "gone" : "still there");
  priorities().tell(std::to_string(priorities().relativePriority()));
}

TEST(LateClientTest, ExitHandlerThatRunsAfterTheLibraryFindsNewPriorities) {
  const ClientOutcome outcome = runAgainst({}, [](unsigned short /*port*/, const Tell& tell) {
    priorities().tell = tell;
    std::atexit(askWhenTheLibraryHasGone);
    void* const module = dlopen(LATE_CLIENT, RTLD_NOW);
    priorities().relativePriority = reinterpret_cast<int (*)()>(dlsym(module, "relativePriority"));
    priorities().areGone = reinterpret_cast<bool (*)()>(dlsym(module, "hasNoPriorities"));
    tell(std::to_string(priorities().relativePriority()));
  });
  EXPECT_EQ("-50; gone; -50; ", outcome.report) << outcome.errors;
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

}  // namespace
