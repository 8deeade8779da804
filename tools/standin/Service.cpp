#include "Service.h"

#include <Poco/Buffer.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/HTTPServerSession.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/ThreadPool.h>
#include <Poco/Timespan.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include "Report.h"
#include "RequestGate.h"
#include "ServiceConnection.h"

using Poco::Net::HTTPRequestHandler;
using Poco::Net::HTTPResponse;
using Poco::Net::HTTPServerParams;
using Poco::Net::HTTPServerRequest;
using Poco::Net::HTTPServerResponse;
using Poco::Net::ServerSocket;
using Poco::Net::WebSocket;

namespace velmo::standin {

namespace {

constexpr const char* kHost = "127.0.0.1";
constexpr const char* kPath = "/velmo";
constexpr const char* kAllowedOrigin = "localhost";
constexpr int kWaitingClients = 64;
constexpr int kLeastThreads = 2;
constexpr int kMostThreads = 256;  // clients served at once
constexpr int kHeaderSeconds = 10;
constexpr long kIdleMicroseconds = 100000;

ServerSocket listenOn(std::uint16_t port) {
  ServerSocket socket;
  try {
    // The address may be reused while old connections are closing, but no other program may listen
    // on the port.
    const bool reuseAddress = true;
    const bool reusePort = false;
    socket.bind(Poco::Net::SocketAddress(kHost, port), reuseAddress, reusePort);
    socket.listen(kWaitingClients);
  } catch (const Poco::Exception& failure) {
    throw std::runtime_error(
        fmt::format("cannot listen on {} port {}: {}; --port 0 takes any free port", kHost, port,
                    std::generic_category().message(failure.code())));
  }
  fcntl(socket.impl()->sockfd(), F_SETFD, FD_CLOEXEC);
  return socket;
}

void refuse(const HTTPServerRequest& request, HTTPServerResponse& response,
            HTTPResponse::HTTPStatus status, const std::string& why) {
  report(fmt::format("refused {} {}: {} ({})", request.getMethod(), request.getURI(), why,
                     static_cast<int>(status)));
  response.setStatusAndReason(status);
  response.setContentType("text/plain");
  response.setKeepAlive(false);
  const std::string text = why + "\n";
  response.sendBuffer(text.data(), text.size());
}

// What the client sent after its handshake, before the handshake was answered. The WebSocket would
// keep it in a buffer that cannot be read.
std::string readAheadOf(HTTPServerRequest& request) {
  Poco::Buffer<char> bytes(0);
  dynamic_cast<Poco::Net::HTTPServerRequestImpl&>(request).session().drainBuffer(bytes);
  return {bytes.begin(), bytes.size()};
}

// @return null if the request is not a handshake; it is then refused
std::unique_ptr<WebSocket> shakeHands(HTTPServerRequest& request, HTTPServerResponse& response) {
  try {
    return std::make_unique<WebSocket>(request, response);
  } catch (const Poco::Net::WebSocketException& failure) {
    response.set("Sec-WebSocket-Version", WebSocket::WEBSOCKET_VERSION);
    refuse(request, response, HTTPResponse::HTTP_BAD_REQUEST,
           "no WebSocket handshake, " + failure.message());
    return nullptr;
  }
}

class Handler : public HTTPRequestHandler {
 public:
  Handler(TaskSubmitter& submitter, FaultTrigger& faults, RequestGate& gate)
      : m_submitter(submitter), m_faults(faults), m_gate(gate) {}

  void handleRequest(HTTPServerRequest& request, HTTPServerResponse& response) override {
    const std::string origin = request.get("origin", kAllowedOrigin);
    if (request.getURI() != kPath) {
      refuse(request, response, HTTPResponse::HTTP_NOT_FOUND,
             fmt::format("only {} is served here", kPath));
    } else if (origin != kAllowedOrigin) {
      refuse(request, response, HTTPResponse::HTTP_FORBIDDEN,
             fmt::format("its origin is {}, not {}", origin, kAllowedOrigin));
    } else if (const Fault* fault = m_faults.strike(FaultPlace::kHandshake)) {
      refuse(request, response, HTTPResponse::HTTP_SERVICE_UNAVAILABLE, labelOf(*fault));
    } else {
      serve(request, response);
    }
  }

 private:
  void serve(HTTPServerRequest& request, HTTPServerResponse& response) {
    try {
      const std::string readAhead = readAheadOf(request);
      if (const std::unique_ptr<WebSocket> socket = shakeHands(request, response)) {
        ServiceConnection(socket->impl()->sockfd(), readAhead, m_submitter, m_faults, m_gate)
            .serve();
      }
    } catch (const Poco::Exception& failure) {
      report("lost a connection: " + failure.displayText());
    } catch (const std::exception& failure) {
      report(std::string("lost a connection: ") + failure.what());
    }
  }

  TaskSubmitter& m_submitter;
  FaultTrigger& m_faults;
  RequestGate& m_gate;
};

class HandlerFactory : public Poco::Net::HTTPRequestHandlerFactory {
 public:
  HandlerFactory(TaskSubmitter& submitter, FaultTrigger& faults, RequestGate& gate)
      : m_submitter(submitter), m_faults(faults), m_gate(gate) {}

  HTTPRequestHandler* createRequestHandler(const HTTPServerRequest& /*request*/) override {
    return new Handler(m_submitter, m_faults, m_gate);  // the server deletes it
  }

 private:
  TaskSubmitter& m_submitter;
  FaultTrigger& m_faults;
  RequestGate& m_gate;
};

HTTPServerParams::Ptr serverParams() {
  HTTPServerParams::Ptr params = new HTTPServerParams;
  params->setMaxThreads(kMostThreads);
  params->setKeepAlive(false);
  params->setTimeout(Poco::Timespan(kHeaderSeconds, 0));
  // A thread that becomes idle just as the server stops misses the wake-up, and delays the end by
  // this time.
  params->setThreadIdleTime(Poco::Timespan(0, kIdleMicroseconds));
  return params;
}

}  // namespace

class Service::Server {
 public:
  Server(std::uint16_t port, TaskSubmitter& submitter, FaultTrigger& faults)
      : m_socket(listenOn(port)),
        m_threads(kLeastThreads, kMostThreads),
        m_http(new HandlerFactory(submitter, faults, m_gate), m_threads, m_socket, serverParams()) {
  }

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  ~Server() {
    finish();
    m_http.stopAll(true);
    m_threads.joinAll();
  }

  // Shutting the listening socket down refuses clients at once, also those in its backlog, and
  // wakes the thread that listens.
  void finish() {
    m_gate.close();
    ::shutdown(m_socket.impl()->sockfd(), SHUT_RD);
    m_http.stop();
  }

  std::uint16_t port() const {
    return m_socket.address().port();
  }

  void start() {
    m_http.start();
  }

  const RequestGate& gate() const {
    return m_gate;
  }

 private:
  RequestGate m_gate;
  ServerSocket m_socket;
  Poco::ThreadPool m_threads;
  Poco::Net::HTTPServer m_http;
};

Service::Service(std::uint16_t port, TaskSubmitter& submitter, FaultTrigger& faults)
    : m_server(std::make_unique<Server>(port, submitter, faults)) {}

Service::~Service() = default;

std::uint16_t Service::port() const {
  return m_server->port();
}

void Service::start() {
  m_server->start();
}

void Service::finish() {
  m_server->finish();
}

bool Service::isFinished() const {
  return m_server->gate().isDone();
}

int Service::finishedDescriptor() const {
  return m_server->gate().doneDescriptor();
}

}  // namespace velmo::standin
