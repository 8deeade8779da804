// The round trip with POCO's WebSocket, called directly. A resident process.
// usage: bare_poco_road by-message PORT | by-message-streams PORT | frames PORT | connection PORT
// "by-message-streams" reads the reply by way of a stream, as many programs do.
// "frames" sends one prepared request and does not look at the reply: what the WebSocket alone
// costs.

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/WebSocket.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "message_work.h"
#include "resident.h"

namespace {

using Poco::Net::WebSocket;

constexpr std::size_t kBufferSize = 4096;

unsigned short g_port = 0;
std::unique_ptr<WebSocket> g_webSocket;
std::string g_prepared;

std::unique_ptr<WebSocket> connect() {
  Poco::Net::HTTPClientSession session("127.0.0.1", g_port);
  Poco::Net::HTTPRequest request("GET", "/velmo", "HTTP/1.1");
  request.set("origin", "localhost");
  Poco::Net::HTTPResponse response;
  return std::make_unique<WebSocket>(session, request, response);
}

int exchangeFrames() {
  std::array<char, kBufferSize> buffer;
  int flags = 0;
  g_webSocket->sendFrame(g_prepared.data(), static_cast<int>(g_prepared.size()),
                         WebSocket::FRAME_BINARY);
  return g_webSocket->receiveFrame(buffer.data(), kBufferSize, flags) > 0 ? 0 : 1;
}

using IsReply = bool(const char* bytes, std::size_t size);

int exchangeMessages(WebSocket& webSocket, IsReply isReply) {
  std::array<char, kBufferSize> buffer;
  int flags = 0;
  const std::string request = message_work::request();
  webSocket.sendFrame(request.data(), static_cast<int>(request.size()), WebSocket::FRAME_BINARY);
  const int size = webSocket.receiveFrame(buffer.data(), kBufferSize, flags);
  return isReply(buffer.data(), static_cast<std::size_t>(size)) ? 0 : 1;
}

int addTask() {
  return exchangeMessages(*g_webSocket, message_work::isReply);
}

int addTaskByStreams() {
  return exchangeMessages(*g_webSocket, message_work::isReplyInStream);
}

int connectAndAddTask() {
  const std::unique_ptr<WebSocket> webSocket = connect();
  const int status = exchangeMessages(*webSocket, message_work::isReply);
  std::array<char, kBufferSize> buffer;
  int flags = 0;
  webSocket->shutdown();
  webSocket->receiveFrame(buffer.data(), kBufferSize, flags);
  webSocket->close();
  return status;
}

int serveRoad(const std::string& road) {
  if (road == "connection") {
    return serve(connectAndAddTask);
  }
  g_webSocket = connect();
  g_prepared = message_work::request();
  if (road == "frames") {
    return serve(exchangeFrames);
  }
  return serve(road == "by-message-streams" ? addTaskByStreams : addTask);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: bare_poco_road ROAD PORT\n";
    return 2;
  }
  g_port = static_cast<unsigned short>(std::atoi(argv[2]));
  try {
    return serveRoad(argv[1]);
  } catch (const Poco::Exception& exception) {
    std::cerr << exception.displayText() << '\n';
    return 1;
  }
}
