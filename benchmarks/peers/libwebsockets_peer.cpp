// The round trip with libwebsockets and its event loop.
// usage: libwebsockets_peer PORT

#include <libwebsockets.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <string>

#include "message_work.h"
#include "resident.h"

namespace {

constexpr std::size_t kLargestRequest = 1024;

enum class State { Waiting, Done, Failed };

lws_context* g_context = nullptr;
lws* g_connection = nullptr;
State g_state = State::Waiting;

int waitForOutcome() {
  while (g_state == State::Waiting) {
    lws_service(g_context, 0);
  }
  return g_state == State::Done ? 0 : 1;
}

int sendRequest() {
  std::array<unsigned char, LWS_PRE + kLargestRequest> buffer;
  const std::string request = message_work::request();
  std::copy(request.begin(), request.end(), buffer.begin() + LWS_PRE);
  const int size = static_cast<int>(request.size());
  return lws_write(g_connection, buffer.data() + LWS_PRE, request.size(), LWS_WRITE_BINARY) < size
             ? -1
             : 0;
}

int handle(lws* /*connection*/, lws_callback_reasons reason, void* /*user*/, void* bytes,
           std::size_t size) {
  switch (reason) {
    case LWS_CALLBACK_CLIENT_ESTABLISHED:
      g_state = State::Done;
      return 0;
    case LWS_CALLBACK_CLIENT_WRITEABLE:
      return sendRequest();
    case LWS_CALLBACK_CLIENT_RECEIVE:
      g_state = message_work::isReply(static_cast<const char*>(bytes), size) ? State::Done
                                                                             : State::Failed;
      return 0;
    case LWS_CALLBACK_CLIENT_CONNECTION_ERROR:
    case LWS_CALLBACK_CLIENT_CLOSED:
      g_state = State::Failed;
      return 0;
    default:
      return 0;
  }
}

int exchange() {
  g_state = State::Waiting;
  lws_callback_on_writable(g_connection);
  return waitForOutcome();
}

int open(int port) {
  static const std::array<lws_protocols, 2> protocols{
      {{"velmo", handle, 0, 4096, 0, nullptr, 0}, {nullptr, nullptr, 0, 0, 0, nullptr, 0}}};
  lws_set_log_level(0, nullptr);
  lws_context_creation_info settings{};
  settings.port = CONTEXT_PORT_NO_LISTEN;
  settings.protocols = protocols.data();
  g_context = lws_create_context(&settings);

  lws_client_connect_info service{};
  service.context = g_context;
  service.address = "127.0.0.1";
  service.port = port;
  service.path = "/velmo";
  service.host = "127.0.0.1";
  service.origin = "localhost";
  service.local_protocol_name = "velmo";
  service.pwsi = &g_connection;
  return lws_client_connect_via_info(&service) != nullptr ? waitForOutcome() : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (open(argc > 1 ? std::atoi(argv[1]) : 0) != 0) {
    std::cerr << "libwebsockets_peer: no connection\n";
    return 1;
  }
  const int status = serve(exchange);
  lws_context_destroy(g_context);
  return status;
}
