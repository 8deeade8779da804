// The round trip with websocketpp over Boost.Asio.
// usage: websocketpp_peer PORT

#include <websocketpp/client.hpp>
#include <websocketpp/config/asio_no_tls_client.hpp>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "message_work.h"
#include "resident.h"

namespace {

using Client = websocketpp::client<websocketpp::config::asio_client>;
using Handle = websocketpp::connection_hdl;

enum class State { Waiting, Done, Failed };

Client g_client;
Handle g_connection;
State g_state = State::Waiting;

int waitForOutcome() {
  while (g_state == State::Waiting) {
    g_client.run_one();
  }
  return g_state == State::Done ? 0 : 1;
}

int exchange() {
  g_state = State::Waiting;
  g_client.send(g_connection, message_work::request(), websocketpp::frame::opcode::binary);
  return waitForOutcome();
}

void setHandlers() {
  g_client.clear_access_channels(websocketpp::log::alevel::all);
  g_client.clear_error_channels(websocketpp::log::elevel::all);
  g_client.init_asio();
  g_client.set_tcp_post_init_handler([](Handle handle) {
    g_client.get_con_from_hdl(handle)->get_raw_socket().set_option(
        boost::asio::ip::tcp::no_delay(true));
  });
  g_client.set_open_handler([](Handle) { g_state = State::Done; });
  g_client.set_fail_handler([](Handle) { g_state = State::Failed; });
  g_client.set_close_handler([](Handle) { g_state = State::Failed; });
  g_client.set_message_handler([](Handle, const Client::message_ptr& message) {
    const std::string& bytes = message->get_payload();
    g_state = message_work::isReply(bytes.data(), bytes.size()) ? State::Done : State::Failed;
  });
}

int open(const std::string& port) {
  websocketpp::lib::error_code error;
  const Client::connection_ptr connection =
      g_client.get_connection("ws://127.0.0.1:" + port + "/velmo", error);
  if (error) {
    return 1;
  }
  g_client.connect(connection);
  g_connection = connection->get_handle();
  return waitForOutcome();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    setHandlers();
    return open(argc > 1 ? argv[1] : "0") == 0 ? serve(exchange) : 1;
  } catch (const std::exception& exception) {
    std::cerr << exception.what() << '\n';
    return 1;
  }
}
