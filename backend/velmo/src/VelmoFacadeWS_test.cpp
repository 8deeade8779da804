#include "VelmoFacadeWS.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/WebSocket.h>
#include <gtest/gtest.h>
#include <velmo/velmo.pb.h>

#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "ClientProcess.h"
#include "ScriptedPeer.h"
#include "WebSocketFrame.h"
#include "WireMessages.h"

namespace {

using velmo::test::ClientOutcome;
using velmo::test::envelopeOf;
using velmo::test::frame;
using velmo::test::kClose;
using velmo::test::kFinal;
using velmo::test::naming;
using velmo::test::PeerConnection;
using velmo::test::runAgainst;
using velmo::test::Tell;
using velmo::test::WebSocketFrame;
using velmo::test::WireRequest;

// --- what needs no connection ---

TEST(VelmoFacadeWSTest, OnlyTheValue1IsAShellScript) {
  EXPECT_EQ(service::velmo::ShellScript, convertTaskType(TASK_SHELL_SCRIPT));
  EXPECT_EQ(service::velmo::JavaClass, convertTaskType(TASK_JAVA_CLASS));
  for (const int other :
       {2, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_EQ(service::velmo::JavaClass, convertTaskType(static_cast<TaskType>(other))) << other;
  }
}

TEST(VelmoFacadeWSTest, TaskTypesHaveTheseNumbers) {
  EXPECT_EQ(0, TASK_JAVA_CLASS);
  EXPECT_EQ(1, TASK_SHELL_SCRIPT);
  EXPECT_TRUE((std::is_same_v<int, std::underlying_type_t<TaskType>>));
  EXPECT_EQ(2, service::velmo::ShellScript);
  EXPECT_EQ(1, service::velmo::JavaClass);
}

TEST(VelmoFacadeWSTest, StaticMembersHaveTheseValues) {
  const std::size_t* const frameSize = &VelmoFacadeWS::s_frameSize;
  EXPECT_EQ(8192U, *frameSize);
  EXPECT_STREQ("/velmo", VelmoFacadeWS::s_serviceUrl);
}

TEST(VelmoFacadeWSTest, ClientIsNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<VelmoFacadeWS>);
  EXPECT_FALSE(std::is_copy_assignable_v<VelmoFacadeWS>);
  EXPECT_FALSE(std::is_polymorphic_v<VelmoFacadeWS>);
  EXPECT_TRUE(std::is_nothrow_destructible_v<VelmoFacadeWS>);
}

TEST(VelmoFacadeWSTest, ExceptionIsARuntimeErrorWithItsText) {
  try {
    throw VelmoException("some text");
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ("some text", error.what());
  }
  EXPECT_STREQ("", VelmoException("").what());
  EXPECT_TRUE((std::is_convertible_v<std::string, VelmoException>));
}

// --- bytes on the wire ---

// A peer that answers every request with a name, then the close frame with a close frame.
void answer(PeerConnection& peer, std::vector<std::vector<WebSocketFrame>>& messages,
            int requests) {
  for (int i = 0; i < requests; ++i) {
    messages.push_back(peer.readMessage());
    peer.send(naming("T" + std::to_string(i + 1)));
  }
  messages.push_back(peer.readMessage());
  peer.send(frame(kFinal | kClose, ""));
}

struct Conversation {
  std::string handshake;
  std::vector<std::vector<WebSocketFrame>> messages;  // the requests, and the close frame
  ClientOutcome outcome;
};

Conversation converse(const std::function<void(VelmoFacadeWS&, const Tell&)>& client,
                      int requests = 1) {
  Conversation result;
  result.outcome = runAgainst({[&](PeerConnection& peer) {
                                result.handshake = peer.upgrade();
                                answer(peer, result.messages, requests);
                              }},
                              [&client](unsigned short port, const Tell& tell) {
                                VelmoFacadeWS facade("127.0.0.1", port);
                                client(facade, tell);
                              });
  EXPECT_EQ("", result.outcome.peer);
  EXPECT_EQ("exit 0", result.outcome.end);
  EXPECT_EQ("", result.outcome.errors);
  return result;
}

std::string joined(const std::vector<WebSocketFrame>& frames) {
  std::string text;
  for (const WebSocketFrame& one : frames) {
    EXPECT_TRUE(one.isMasked);
    text += one.payload;
  }
  return text;
}

std::string shape(const std::vector<WebSocketFrame>& frames) {
  std::string text;
  for (const WebSocketFrame& one : frames) {
    text += (text.empty() ? "" : " ") + std::to_string(one.payload.size()) + "/" +
            std::to_string(one.flags);
  }
  return text;
}

void submit(VelmoFacadeWS& facade, const Tell& tell, const std::string& command) {
  tell(facade.addTask("Normal", command, TASK_SHELL_SCRIPT, "Low", "J1", "0", "info", 7));
}

TEST(VelmoFacadeWSTest, HandshakeAsksForTheServicePathWithTheOriginLocalhost) {
  const Conversation talk = converse([](VelmoFacadeWS& /*facade*/, const Tell& /*tell*/) {}, 0);
  const std::string& text = talk.handshake;
  EXPECT_EQ(0U, text.find("GET /velmo HTTP/1.1\r\n")) << text;
  const auto contains = [&text](const std::string& line) {
    return text.find("\r\n" + line + "\r\n") != std::string::npos;
  };
  EXPECT_TRUE(contains("origin: localhost")) << text;
  EXPECT_TRUE(contains("Connection: Upgrade")) << text;
  EXPECT_TRUE(contains("Upgrade: websocket")) << text;
  EXPECT_TRUE(contains("Sec-WebSocket-Version: 13")) << text;
  EXPECT_NE(std::string::npos, text.find("\r\nHost: 127.0.0.1:")) << text;
  EXPECT_NE(std::string::npos, text.find("\r\nSec-WebSocket-Key: ")) << text;
  EXPECT_EQ(text.size() - 4, text.find("\r\n\r\n"));
}

TEST(VelmoFacadeWSTest, HandshakeHasTheseHeadersInThisOrderAndNoOther) {
  const Conversation talk = converse([](VelmoFacadeWS& /*facade*/, const Tell& /*tell*/) {}, 0);
  std::istringstream lines(talk.handshake);
  std::string names;
  for (std::string line; std::getline(lines, line);) {
    names += line.substr(0, line.find_first_of(" :\r")) + ";";
  }
  EXPECT_EQ("GET;origin;Connection;Upgrade;Sec-WebSocket-Version;Sec-WebSocket-Key;Host;;", names)
      << talk.handshake;
}

TEST(VelmoFacadeWSTest, ServicePathIsReadByEveryConstructor) {
  std::string handshake;
  const ClientOutcome outcome = runAgainst({[&handshake](PeerConnection& peer) {
                                             handshake = peer.upgrade();
                                             peer.readMessage();
                                           }},
                                           [](unsigned short port, const Tell& /*tell*/) {
                                             VelmoFacadeWS::s_serviceUrl = "/elsewhere";
                                             const VelmoFacadeWS facade("127.0.0.1", port);
                                           });
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
  EXPECT_EQ(0U, handshake.find("GET /elsewhere HTTP/1.1\r\n")) << handshake;
}

TEST(VelmoFacadeWSTest, RequestCarriesTheEightArgumentsInOneMaskedFrame) {
  const Conversation talk = converse([](VelmoFacadeWS& facade, const Tell& tell) {
    tell(facade.addTask("p", "c", TASK_SHELL_SCRIPT, "d", "j", "s", "i", -5));
  });
  EXPECT_EQ("T1; ", talk.outcome.report);
  ASSERT_EQ(1U, talk.messages.at(0).size());
  EXPECT_EQ(130, talk.messages.at(0).at(0).flags);
  EXPECT_EQ(envelopeOf({"p", "c", 2, "d", "j", "s", "i", -5}), joined(talk.messages.at(0)));
}

TEST(VelmoFacadeWSTest, EmptyArgumentsAreInTheRequestToo) {
  const Conversation talk = converse([](VelmoFacadeWS& facade, const Tell& tell) {
    tell(facade.addTask("", "", TASK_JAVA_CLASS, "", "", "", "", 0));
  });
  EXPECT_EQ(envelopeOf(WireRequest()), joined(talk.messages.at(0)));
}

TEST(VelmoFacadeWSTest, TextsAreSentAsTheyAre) {
  const std::string bytes("a\0\xC3\xBC\n%s", 7);
  const Conversation talk = converse([&bytes](VelmoFacadeWS& facade, const Tell& tell) {
    tell(facade.addTask("", bytes, TASK_JAVA_CLASS, "", "", "", "", 0));
  });
  WireRequest wire;
  wire.command = bytes;
  EXPECT_EQ(envelopeOf(wire), joined(talk.messages.at(0)));
}

TEST(VelmoFacadeWSTest, RepliesBelongToRequestsByTheirOrder) {
  const Conversation talk = converse(
      [](VelmoFacadeWS& facade, const Tell& tell) {
        submit(facade, tell, "first");
        submit(facade, tell, "second");
        submit(facade, tell, "third");
      },
      3);
  EXPECT_EQ("T1; T2; T3; ", talk.outcome.report);
}

TEST(VelmoFacadeWSTest, DestructorSendsACloseFrame) {
  const Conversation talk = converse([](VelmoFacadeWS& /*facade*/, const Tell& /*tell*/) {}, 0);
  EXPECT_EQ("2/136", shape(talk.messages.at(0)));
  EXPECT_EQ("\x03\xE8", joined(talk.messages.at(0)));
}

// A command of 8000 bytes leaves `rest` bytes of the frame.
TEST(VelmoFacadeWSTest, RequestOfExactlyOneFrameIsOneFrameAndOneByteMoreTwo) {
  WireRequest wire;
  wire.command = std::string(8000, 'x');
  const std::size_t rest = 8192 - envelopeOf(wire).size();
  for (const std::size_t more : {std::size_t{0}, std::size_t{1}}) {
    wire.command = std::string(8000 + rest + more, 'x');
    const Conversation talk = converse([&wire](VelmoFacadeWS& facade, const Tell& tell) {
      tell(facade.addTask("", wire.command, TASK_JAVA_CLASS, "", "", "", "", 0));
    });
    EXPECT_EQ(more == 0 ? "8192/130" : "8192/2 1/128", shape(talk.messages.at(0)));
    EXPECT_EQ(envelopeOf(wire), joined(talk.messages.at(0)));
  }
}

// --- sendBytes ---

std::string bytesOf(std::size_t length) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) {
    text += static_cast<char>(i * 7);
  }
  return text;
}

// A connection as a program hands it to sendBytes.
struct OpenWebSocket {
  explicit OpenWebSocket(unsigned short port) : session("127.0.0.1", port) {}

  Poco::Net::HTTPClientSession session;
  Poco::Net::HTTPRequest request{"GET", "/", "HTTP/1.1"};
  Poco::Net::HTTPResponse response;
  Poco::Net::WebSocket socket{session, request, response};
};

// What sendBytes makes of a message: its result and the frames that arrived. A close frame behind
// them tells the peer that this was all.
std::string sent(std::size_t length, std::size_t frameSize) {
  std::vector<WebSocketFrame> frames;
  const std::string data = bytesOf(length);
  const ClientOutcome outcome =
      runAgainst({[&frames](PeerConnection& peer) {
                   peer.upgrade();
                   for (;;) {
                     WebSocketFrame one = peer.readFrame();
                     if (one.flags == (kFinal | kClose)) {
                       return;
                     }
                     frames.push_back(one);
                   }
                 }},
                 [&data, frameSize](unsigned short port, const Tell& tell) {
                   OpenWebSocket open(port);
                   const char* bytes = data.empty() ? nullptr : data.data();
                   tell(sendBytes(open.socket, bytes, data.size(), frameSize) ? "true" : "false");
                   open.socket.shutdown();
                 });
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors << outcome.peer;
  EXPECT_EQ(frameSize == 0 ? "" : data, joined(frames));
  return outcome.report + shape(frames);
}

TEST(VelmoFacadeWSTest, AbsentServiceUrlIsALogicError) {
  VelmoFacadeWS::s_serviceUrl = nullptr;
  try {
    const VelmoFacadeWS client("127.0.0.1", 1);
    ADD_FAILURE() << "no exception";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
  }
}

TEST(SendBytesTest, NothingIsNoFrameAndTrue) {
  EXPECT_EQ("true; ", sent(0, 8192));
}

TEST(SendBytesTest, MessageThatFitsIsOneFinalBinaryFrame) {
  EXPECT_EQ("true; 8192/130", sent(8192, 8192));
}

TEST(SendBytesTest, LongerMessageIsSplit) {
  EXPECT_EQ("true; 8192/2 1/128", sent(8193, 8192));
  EXPECT_EQ("true; 8192/2 8192/0 3616/128", sent(20000, 8192));
}

TEST(SendBytesTest, FramesAreAsLargeAsTheCallerSays) {
  EXPECT_EQ("true; 2/2 2/0 1/128", sent(5, 2));
  EXPECT_EQ("true; 100000/130", sent(100000, 100000));
  EXPECT_EQ("true; 20000/130", sent(20000, std::numeric_limits<std::size_t>::max()));
}

TEST(SendBytesTest, AbsentDataIsNotReadAndFalse) {
  const ClientOutcome outcome = runAgainst(
      {[](PeerConnection& peer) { peer.upgrade(); }}, [](unsigned short port, const Tell& tell) {
        OpenWebSocket open(port);
        tell(sendBytes(open.socket, nullptr, 5, 8192) ? "true" : "false");
      });
  EXPECT_EQ("false; ", outcome.report);
}

TEST(SendBytesTest, FrameThatCarriesNothingIsFalse) {
  EXPECT_EQ("false; 0/2", sent(5, 0));
}

TEST(SendBytesTest, ExceptionsOfTheNetworkingLibraryPassThrough) {
  const ClientOutcome outcome = runAgainst({[](PeerConnection& peer) { peer.upgrade(); }},
                                           [](unsigned short port, const Tell& tell) {
                                             OpenWebSocket open(port);
                                             try {
                                               for (;;) {
                                                 sendBytes(open.socket, "x", 1, 8192);
                                               }
                                             } catch (const Poco::Exception&) {
                                               tell("thrown");
                                             }
                                           });
  EXPECT_EQ("thrown; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

}  // namespace
