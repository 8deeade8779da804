// What a client does to the program around it: each statement of docs/host-safety.md.

#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>
#include <velmo/VelmoFacadeWS.h>
#include <velmo/velmo.pb.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "BrokenSend.h"
#include "ClientProcess.h"
#include "ScriptedPeer.h"
#include "SigPipe.h"
#include "SocketLimits.h"
#include "WireMessages.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using velmo::test::answering;
using velmo::test::blockSigPipe;
using velmo::test::breakNextSend;
using velmo::test::brokenSends;
using velmo::test::Client;
using velmo::test::ClientOutcome;
using velmo::test::frame;
using velmo::test::isSigPipePending;
using velmo::test::kBinary;
using velmo::test::kClose;
using velmo::test::kContinuation;
using velmo::test::kFinal;
using velmo::test::kLastContinuation;
using velmo::test::kPing;
using velmo::test::naming;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::replyOfSize;
using velmo::test::responseWithoutName;
using velmo::test::runAgainst;
using velmo::test::shortenSocketLimits;
using velmo::test::socketLimitsAsked;
using velmo::test::stallConnecting;
using velmo::test::Tell;

void submit(VelmoFacadeWS& facade, const Tell& tell) {
  try {
    tell("'" + facade.addTask("Normal", "true", TASK_SHELL_SCRIPT, "", "J1", "0", "", 0) + "'");
  } catch (const VelmoException& exception) {
    tell(exception.what());
  }
}

// A client that submits this many times and is destroyed.
Client submitting(int times) {
  return [times](unsigned short port, const Tell& tell) {
    {
      VelmoFacadeWS facade("127.0.0.1", port);
      for (int i = 0; i < times; ++i) {
        submit(facade, tell);
      }
    }
    tell("destroyed");
  };
}

constexpr const char* kWrongType = "Wrong type of message is returned!; ";

// --- the destructor ---

const PeerScript kResetsAfterTheReply = [](PeerConnection& peer) {
  peer.upgrade();
  peer.readMessage();
  peer.send(naming("T1"));
  peer.readMessage();
  peer.reset();
};

TEST(HostSafetyTest, DestructorEndsTheProcessWhenThePeerResetsWhateverHandlerTheCallerHas) {
  const ClientOutcome outcome =
      runAgainst({kResetsAfterTheReply}, [](unsigned short port, const Tell& tell) {
        try {
          VelmoFacadeWS facade("127.0.0.1", port);
          submit(facade, tell);
        } catch (...) {
          tell("caught");
        }
      });
  EXPECT_EQ("'T1'; ", outcome.report);
  EXPECT_EQ("signal 6", outcome.end);
  EXPECT_THAT(outcome.errors, HasSubstr("terminate called"));
}

TEST(HostSafetyTest, DestructorReadsToTheEndOfOneMessageAndCloses) {
  const ClientOutcome outcome =
      runAgainst({[](PeerConnection& peer) {
                   peer.upgrade();
                   peer.readMessage();
                   peer.send(frame(kBinary, "left") + frame(kContinuation, "over") +
                             frame(kFinal | kClose, ""));
                   peer.drain();
                 }},
                 submitting(0));
  EXPECT_EQ("destroyed; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
  EXPECT_EQ("", outcome.peer);
}

TEST(HostSafetyTest, TextThatIsNotUtf8IsSentAndReadWithoutALineOnStandardError) {
  const ClientOutcome outcome =
      runAgainst({answering({naming("\xff")})}, [](unsigned short port, const Tell& tell) {
        VelmoFacadeWS client("127.0.0.1", port);
        tell(client.addTask("\xff", "\xff", TASK_SHELL_SCRIPT, "\xff", "\xff", "\xff", "\xff", 0));
      });
  EXPECT_EQ("\xff; ", outcome.report);
  EXPECT_EQ("", outcome.errors);
}

// --- protocol buffers after a client was destroyed ---

// Destroys a client, then runs `after` in the same process.
ClientOutcome afterAClient(const Client& after, std::vector<PeerScript> more = {}) {
  more.insert(more.begin(), answering({naming("T1")}));
  return runAgainst(more, [&after](unsigned short port, const Tell& tell) {
    submitting(1)(port, tell);
    after(port, tell);
    tell("survived");
  });
}

TEST(HostSafetyTest, MessagesAreStillSerialisedAndParsedAfterTheShutdown) {
  const ClientOutcome outcome = afterAClient([](unsigned short /*port*/, const Tell& tell) {
    service::velmo::BaseMessage message;
    message.mutable_addtaskresponse()->set_taskname("T2");
    std::string bytes;
    tell(message.SerializeToString(&bytes) ? "serialised" : "refused");
    service::velmo::BaseMessage copy;
    tell(copy.ParseFromString(bytes) ? copy.addtaskresponse().taskname() : "refused");
  });
  EXPECT_EQ("'T1'; destroyed; serialised; T2; survived; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

TEST(HostSafetyTest, SecondClientWorksAfterTheShutdown) {
  const ClientOutcome outcome = afterAClient(submitting(1), {answering({naming("T2")})});
  EXPECT_EQ("'T1'; destroyed; 'T2'; destroyed; survived; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

TEST(HostSafetyTest, SecondClientTakesAReplyWithoutANameAfterTheShutdown) {
  const ClientOutcome outcome =
      afterAClient(submitting(1), {answering({frame(kFinal | kBinary, responseWithoutName())})});
  EXPECT_EQ("'T1'; destroyed; ''; destroyed; survived; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

TEST(HostSafetyTest, ClientsThatLiveAtTheSameTimeOutliveEachOther) {
  const ClientOutcome outcome = runAgainst({[](PeerConnection& first) {
                                              first.upgrade();
                                              first.readMessage();
                                            },
                                            answering({naming("T2")})},
                                           [](unsigned short port, const Tell& tell) {
                                             auto first =
                                                 std::make_unique<VelmoFacadeWS>("127.0.0.1", port);
                                             first.reset();
                                             submitting(1)(port, tell);
                                           });
  EXPECT_EQ("'T2'; destroyed; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

TEST(HostSafetyTest, DescriptorsAreGoneAfterTheShutdown) {
  const ClientOutcome outcome = afterAClient([](unsigned short /*port*/, const Tell& tell) {
    tell(std::string(service::velmo::BaseMessage::descriptor()->full_name()));
  });
  EXPECT_EQ("'T1'; destroyed; ", outcome.report);
  EXPECT_NE("exit 0", outcome.end);
}

TEST(HostSafetyTest, DebugTextsAreGoneAfterTheShutdown) {
  const ClientOutcome outcome = afterAClient([](unsigned short /*port*/, const Tell& tell) {
    service::velmo::BaseMessage message;
    message.mutable_addtaskresponse()->set_taskname("T2");
    tell(message.DebugString());
  });
  EXPECT_EQ("'T1'; destroyed; ", outcome.report);
  EXPECT_NE("exit 0", outcome.end);
}

TEST(HostSafetyTest, ReplyWithoutANameIsAnEmptyNameAndWritesNoLine) {
  const ClientOutcome outcome =
      runAgainst({answering({frame(kFinal | kBinary, responseWithoutName())})}, submitting(1));
  EXPECT_EQ("''; destroyed; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
  EXPECT_EQ("", outcome.errors);
}

// --- waits ---

TEST(HostSafetyTest, ConnectingIsLimitedTo30SecondsAndEverySendAndReceiveTo60) {
  const ClientOutcome outcome =
      runAgainst({answering({naming("T1")})}, [](unsigned short port, const Tell& tell) {
        submitting(1)(port, tell);
        tell(socketLimitsAsked());
      });
  EXPECT_EQ("'T1'; destroyed; connect 30000 ms, send 60000 ms, receive 60000 ms; ", outcome.report);
}

TEST(HostSafetyTest, ConnectionThatDoesNotComeAboutIsAVelmoException) {
  const ClientOutcome outcome = runAgainst({}, [](unsigned short port, const Tell& tell) {
    stallConnecting();
    try {
      const VelmoFacadeWS facade("127.0.0.1", port);
      tell("connected");
    } catch (const VelmoException& exception) {
      tell(exception.what());
    }
    tell(socketLimitsAsked());
  });
  EXPECT_THAT(outcome.report, StartsWith("Timeout"));
  EXPECT_THAT(outcome.report, HasSubstr("connect 30000 ms"));
}

TEST(HostSafetyTest, DestructorWaitsOnceMoreForASilentPeerAndThenEndsTheProcess) {
  const ClientOutcome outcome = runAgainst({[](PeerConnection& peer) {
                                             peer.upgrade();
                                             peer.drain();
                                           }},
                                           [](unsigned short port, const Tell& tell) {
                                             shortenSocketLimits(100);
                                             submitting(1)(port, tell);
                                           });
  EXPECT_EQ("Timeout; ", outcome.report);
  EXPECT_EQ("signal 6", outcome.end);
}

TEST(HostSafetyTest, SendThatFindsNoRoomIsAVelmoException) {
  std::array<int, 2> isOver{};
  ASSERT_EQ(0, pipe(isOver.data()));
  const ClientOutcome outcome = runAgainst(
      {[&isOver](PeerConnection& peer) {
        peer.upgrade();
        close(isOver[1]);
        char byte = 0;
        EXPECT_EQ(0, read(isOver[0], &byte, 1));  // until the client's end of the pipe is closed
      }},
      [](unsigned short port, const Tell& tell) {
        shortenSocketLimits(100);
        VelmoFacadeWS facade("127.0.0.1", port);
        try {
          facade.addTask("", std::string(64U << 20U, 'x'), TASK_JAVA_CLASS, "", "", "", "", 0);
        } catch (const VelmoException& exception) {
          tell(exception.what());
        }
        std::_Exit(0);
      });
  close(isOver[0]);
  EXPECT_EQ("I/O error: Operation would block; ", outcome.report);
}

// --- SIGPIPE ---

const PeerScript kClosesAtOnce = [](PeerConnection& peer) { peer.upgrade(); };

// Submits four times to a peer that has closed: the first send after its reset finds the reset,
// every later send the broken pipe that raises SIGPIPE.
void submitToNobody(VelmoFacadeWS& facade, const Tell& tell) {
  for (int i = 0; i < 4; ++i) {
    try {
      facade.addTask("", "", TASK_JAVA_CLASS, "", "", "", "", 0);
    } catch (const VelmoException&) {
      tell("VelmoException");
    }
  }
}

// The peer closes its side before it resets, so the client's next send fails with EPIPE.
TEST(HostSafetyTest, PeerThatGoesInsideTheHandshakeIsAVelmoExceptionWhereSigPipeIsNotBlocked) {
  const ClientOutcome outcome = runAgainst({[](PeerConnection& peer) {
                                             peer.finish();
                                             peer.read(1);
                                           }},
                                           [](unsigned short port, const Tell& tell) {
                                             blockSigPipe(false);
                                             const std::string longPath(16U << 20U, '/');
                                             VelmoFacadeWS::s_serviceUrl = longPath.c_str();
                                             try {
                                               const VelmoFacadeWS facade("127.0.0.1", port);
                                             } catch (const VelmoException&) {
                                               tell("VelmoException");
                                             }
                                           });
  EXPECT_EQ("VelmoException; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

// If the first write on a connection fails, the networking library opens a second connection.
const std::vector<PeerScript> kBreakThenAnswer{[](PeerConnection& peer) { peer.drain(); },
                                               answering({naming("T1")})};

TEST(HostSafetyTest, HandshakeThatIsRepeatedSucceedsWhereSigPipeIsNotBlocked) {
  const ClientOutcome outcome =
      runAgainst(kBreakThenAnswer, [](unsigned short port, const Tell& tell) {
        blockSigPipe(false);
        breakNextSend();
        submitting(1)(port, tell);
        tell(std::to_string(brokenSends()));
      });
  EXPECT_EQ("'T1'; destroyed; 1; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
}

TEST(HostSafetyTest, HandshakeThatIsRepeatedLeavesNoSigPipeWhereItIsBlocked) {
  const ClientOutcome outcome =
      runAgainst(kBreakThenAnswer, [](unsigned short port, const Tell& tell) {
        breakNextSend();
        submitting(1)(port, tell);
        tell(isSigPipePending() ? "pending" : "none pending");
        tell(std::to_string(brokenSends()));
      });
  EXPECT_EQ("'T1'; destroyed; none pending; 1; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
}

TEST(HostSafetyTest, SigPipeThatWasPendingBeforeTheHandshakeStaysPending) {
  const ClientOutcome outcome =
      runAgainst(kBreakThenAnswer, [](unsigned short port, const Tell& tell) {
        raise(SIGPIPE);
        breakNextSend();
        submitting(1)(port, tell);
        tell(isSigPipePending() ? "pending" : "none pending");
      });
  EXPECT_EQ("'T1'; destroyed; pending; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
}

TEST(HostSafetyTest, DestructorEndsTheProcessByItsExceptionNotBySigPipe) {
  const ClientOutcome outcome =
      runAgainst({kClosesAtOnce}, [](unsigned short port, const Tell& tell) {
        blockSigPipe(false);
        VelmoFacadeWS facade("127.0.0.1", port);
        submitToNobody(facade, tell);
      });
  EXPECT_EQ("signal 6", outcome.end);
  EXPECT_THAT(outcome.errors, HasSubstr("terminate called"));
}

TEST(HostSafetyTest, NoSigPipeIsLeftBehindWhereItIsBlocked) {
  const ClientOutcome outcome =
      runAgainst({kClosesAtOnce}, [](unsigned short port, const Tell& tell) {
        VelmoFacadeWS facade("127.0.0.1", port);
        submitToNobody(facade, tell);
        blockSigPipe(false);
        tell("survived");
        std::_Exit(0);
      });
  EXPECT_THAT(outcome.report, HasSubstr("survived"));
  EXPECT_EQ("exit 0", outcome.end);
}

// The dispositions of all signals and the signal mask of this thread, as text.
std::string signalsOfThisThread() {
  std::string text;
  sigset_t mask{};
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    text += action.sa_handler == SIG_DFL ? 'd' : action.sa_handler == SIG_IGN ? 'i' : 'h';
    text += sigismember(&mask, number) == 1 ? '!' : ' ';
  }
  return text;
}

TEST(HostSafetyTest, DispositionsAndMasksStayTheProgramsOwn) {
  for (const bool blocked : {false, true}) {
    const ClientOutcome outcome =
        runAgainst({answering({naming("T1")}), kClosesAtOnce},
                   [blocked](unsigned short port, const Tell& tell) {
                     if (!blocked) {
                       blockSigPipe(false);
                     }
                     const std::string before = signalsOfThisThread();
                     submitting(1)(port, tell);
                     tell(before == signalsOfThisThread() ? "same" : "changed");
                     VelmoFacadeWS facade("127.0.0.1", port);
                     submitToNobody(facade, tell);
                     tell(before == signalsOfThisThread() ? "same" : "changed");
                     std::_Exit(0);
                   });
    EXPECT_EQ(
        "'T1'; destroyed; same; VelmoException; VelmoException; VelmoException; VelmoException; "
        "same; ",
        outcome.report);
  }
}

// --- programs that the program executes ---

TEST(HostSafetyTest, ConnectionIsNotInheritedByProgramsThatTheProgramExecutes) {
  const ClientOutcome outcome =
      runAgainst({answering({naming("T1")})}, [](unsigned short port, const Tell& tell) {
        VelmoFacadeWS facade("127.0.0.1", port);
        submit(facade, tell);
        const int status = std::system("ls -l /proc/self/fd | grep -q socket:");
        tell(WEXITSTATUS(status) == 1 ? "no socket" : "a socket");
      });
  EXPECT_EQ("'T1'; no socket; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
}

TEST(HostSafetyTest, ProgramThatTheHostExecutesInheritsTheBlockedSigPipe) {
  const ClientOutcome outcome = runAgainst({}, [](unsigned short, const Tell&) {
    // SigBlk is a hexadecimal number. SIGPIPE is the bit 0x1000.
    execlp("grep", "grep", "-q", "^SigBlk:.*[13579bdf]...$", "/proc/self/status", nullptr);
    std::_Exit(127);
  });
  EXPECT_EQ("exit 0", outcome.end);
}

// --- a forked child ---

// Expects a close frame, answers it and finishes. Reading to the end avoids a reset.
const PeerScript kEndsInOrder = [](PeerConnection& peer) {
  peer.upgrade();
  EXPECT_EQ(kFinal | kClose, peer.readFrame().flags);
  peer.send(frame(kFinal | kClose, ""));
  peer.finish();
  peer.drain();
};

TEST(HostSafetyTest, ForkedChildThatDestroysItsCopyClosesTheConnectionOfTheParent) {
  const ClientOutcome outcome =
      runAgainst({kEndsInOrder}, [](unsigned short port, const Tell& tell) {
        auto facade = std::make_unique<VelmoFacadeWS>("127.0.0.1", port);
        const pid_t child = fork();
        if (child == 0) {
          facade.reset();
          std::_Exit(0);
        }
        waitpid(child, nullptr, 0);
        submit(*facade, tell);
        std::_Exit(0);
      });
  EXPECT_EQ(kWrongType, outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
}

TEST(HostSafetyTest, ForkedChildThatExitsWithoutDestructorsLeavesTheConnectionOpen) {
  const ClientOutcome outcome =
      runAgainst({answering({naming("T1")})}, [](unsigned short port, const Tell& tell) {
        VelmoFacadeWS facade("127.0.0.1", port);
        const pid_t child = fork();
        if (child == 0) {
          std::_Exit(0);
        }
        waitpid(child, nullptr, 0);
        submit(facade, tell);
      });
  EXPECT_EQ("'T1'; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
}

// --- control frames, empty frames, frames that are too large ---

TEST(HostSafetyTest, ControlFrameAheadOfTheReplyPutsRepliesOneCallLate) {
  const ClientOutcome outcome = runAgainst(
      {answering({frame(kFinal | kPing, "") + naming("T1"), naming("T2"), naming("T3")})},
      submitting(3));
  EXPECT_EQ(std::string(kWrongType) + "'T1'; 'T2'; destroyed; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
}

TEST(HostSafetyTest, EmptyFrameAheadOfTheReplyPutsRepliesOneCallLate) {
  const ClientOutcome outcome = runAgainst(
      {answering({frame(kFinal | kBinary, "") + naming("T1"), naming("T2")})}, submitting(2));
  EXPECT_EQ(std::string(kWrongType) + "'T1'; destroyed; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end);
}

TEST(HostSafetyTest, PingIsNotAnswered) {
  std::vector<int> flags;
  const ClientOutcome outcome = runAgainst({[&flags](PeerConnection& peer) {
                                             peer.upgrade();
                                             peer.readMessage();
                                             peer.send(frame(kFinal | kPing, "x") + naming("T1"));
                                             flags.push_back(peer.readFrame().flags);
                                             peer.send(frame(kFinal | kClose, ""));
                                           }},
                                           submitting(1));
  EXPECT_EQ(std::vector<int>{kFinal | kClose}, flags);
}

TEST(HostSafetyTest, CloseFrameInPlaceOfTheReplyIsTheWrongTypeAndNotAnswered) {
  const ClientOutcome outcome =
      runAgainst({answering({frame(kFinal | kClose, "\x03\xE8"), naming("T2")})}, submitting(2));
  EXPECT_EQ(std::string(kWrongType) + "'T2'; destroyed; ", outcome.report);
}

TEST(HostSafetyTest, ReplyOf8192BytesIsTaken) {
  const ClientOutcome outcome =
      runAgainst({answering({frame(kFinal | kBinary, replyOfSize(8192))})}, submitting(1));
  EXPECT_EQ("'" + std::string(8186, 'n') + "'; destroyed; ", outcome.report);
}

TEST(HostSafetyTest, ReplyAbove8192BytesIsTakenInFramesThatAreNot) {
  const std::string reply = replyOfSize(8193);
  const ClientOutcome outcome =
      runAgainst({answering({frame(kBinary, reply.substr(0, 8192)) +
                             frame(kLastContinuation, reply.substr(8192))})},
                 submitting(1));
  EXPECT_EQ("'" + std::string(8187, 'n') + "'; destroyed; ", outcome.report);
}

// The destructor takes the payload for frames, and the first of those is too large too.
TEST(HostSafetyTest, ReplyAbove8192BytesInOneFrameIsAVelmoExceptionAndTheDestructorEndsTheProcess) {
  const ClientOutcome outcome =
      runAgainst({answering({frame(kFinal | kBinary, replyOfSize(8193))})}, submitting(1));
  EXPECT_EQ("WebSocket Exception: Insufficient buffer for payload size 8193; ", outcome.report);
  EXPECT_EQ("signal 6", outcome.end);
}

TEST(HostSafetyTest, PayloadOfAFrameThatIsTooLargeIsTakenForFrames) {
  const std::string hidden = naming("from the payload");
  const ClientOutcome outcome = runAgainst(
      {answering({frame(kFinal | kBinary, hidden + std::string(8193 - hidden.size(), '\0')),
                  naming("T2")})},
      submitting(2));
  EXPECT_EQ(
      "WebSocket Exception: Insufficient buffer for payload size 8193; 'from the payload'; "
      "destroyed; ",
      outcome.report);
}

}  // namespace
