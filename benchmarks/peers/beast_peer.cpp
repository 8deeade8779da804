// The round trip with Boost.Beast, synchronous.
// usage: beast_peer PORT

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "message_work.h"
#include "resident.h"

namespace {

using boost::asio::ip::tcp;
using Stream = boost::beast::websocket::stream<tcp::socket>;

std::unique_ptr<Stream> g_stream;

int exchange() {
  boost::beast::flat_buffer reply;
  g_stream->write(boost::asio::buffer(message_work::request()));
  g_stream->read(reply);
  const boost::asio::const_buffer bytes = reply.data();
  return message_work::isReply(static_cast<const char*>(bytes.data()), bytes.size()) ? 0 : 1;
}

void open(boost::asio::io_context& context, unsigned short port) {
  g_stream = std::make_unique<Stream>(context);
  g_stream->next_layer().connect({boost::asio::ip::address_v4::loopback(), port});
  g_stream->next_layer().set_option(tcp::no_delay(true));
  g_stream->binary(true);
  g_stream->handshake("127.0.0.1", "/velmo");
}

}  // namespace

int main(int argc, char** argv) {
  boost::asio::io_context context;
  try {
    open(context, static_cast<unsigned short>(argc > 1 ? std::atoi(argv[1]) : 0));
    const int status = serve(exchange);
    g_stream.reset();
    return status;
  } catch (const std::exception& exception) {
    std::cerr << exception.what() << '\n';
    return 1;
  }
}
