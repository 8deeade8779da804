#include <cstring>
#include <memory>
#include <string>

#include "Call.h"
#include "Dialling.h"
#include "GivenEndpoint.h"
#include "GivenRequest.h"
#include "ModulesReader.h"
#include "RequestMessage.h"
#include "ServiceConnection.h"
#include "Wait.h"
#include "velmo.h"

using velmo::client::Call;
using velmo::client::checkTimeout;
using velmo::client::Fault;
using velmo::client::GivenEndpoint;
using velmo::client::Outcome;
using velmo::client::Problem;
using velmo::client::RequestFields;
using velmo::client::Result;
using velmo::client::runCall;
using velmo::client::ServiceAddress;
using velmo::client::ServiceConnection;
using velmo::client::Wait;

namespace {

Outcome checkConnection(const velmo_connection* connection) {
  if (connection == nullptr) {
    return Fault{Problem::ArgumentMissing, "connection"};
  }
  if (!connection->connection.isOfThisProcess()) {
    return Fault{Problem::ConnectionOfParent};
  }
  return std::nullopt;
}

Outcome sendTask(ServiceConnection& connection, const velmo_task* task, const Wait& wait,
                 char* name) {
  try {
    const Result<RequestFields> request = velmo::client::takeRequest(task);
    if (!request.isOk()) {
      return request.fault();
    }
    if (connection.hasFailed()) {
      return Fault{Problem::ConnectionNotUsable};
    }
    return connection.exchange(velmo::client::requestMessage(request.value()), wait, name);
  } catch (...) {
    connection.abandon();
    throw;
  }
}

}  // namespace

velmo_status velmo_find_service(const char* modules_xml, char host[VELMO_NAME_SIZE], int* port,
                                velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    const Result<ServiceAddress> service =
        velmo::client::findService(velmo::client::modulesPath(modules_xml));
    if (!service.isOk()) {
      return service.fault();
    }
    if (host != nullptr) {
      std::memcpy(host, service.value().host.c_str(), service.value().host.size() + 1);
    }
    if (port != nullptr) {
      *port = service.value().port;
    }
    return std::nullopt;
  });
}

velmo_status velmo_connect(const velmo_endpoint* endpoint, int timeout_ms, velmo_connection** out,
                           velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (out == nullptr) {
      return Fault{Problem::ArgumentMissing, "out"};
    }
    *out = nullptr;
    if (Outcome outcome = checkTimeout(timeout_ms)) {
      return outcome;
    }
    Result<GivenEndpoint> given = velmo::client::takeEndpoint(endpoint);
    if (!given.isOk()) {
      return std::move(given.fault());
    }
    const Wait wait(timeout_ms, given.value().stop);
    auto connection = velmo::client::dial(given.value(), timeout_ms, wait);
    if (!connection.isOk()) {
      return std::move(connection.fault());
    }
    *out = connection.value().release();
    return std::nullopt;
  });
}

velmo_status velmo_send(velmo_connection* connection, const velmo_task* task, int timeout_ms,
                        char name[VELMO_NAME_SIZE], velmo_error* error) {
  return runCall(error, [&]() -> Outcome {
    if (Outcome outcome = checkConnection(connection)) {
      return outcome;
    }
    if (Outcome outcome = checkTimeout(timeout_ms)) {
      return outcome;
    }
    const Wait wait(timeout_ms, connection->connection.stop());
    return sendTask(connection->connection, task, wait, name);
  });
}

int velmo_is_usable(const velmo_connection* connection) {
  return connection != nullptr && connection->connection.isUsable() ? 1 : 0;
}

void velmo_disconnect(velmo_connection* connection, int timeout_ms) {
  if (connection == nullptr) {
    return;
  }
  const Call call;
  const std::unique_ptr<velmo_connection> owned(connection);
  // Deliberate: a timeout below VELMO_NO_LIMIT does not wait. The call cannot refuse it, and the
  // connection must end.
  const bool isTimeout = timeout_ms >= VELMO_NO_LIMIT;
  owned->connection.close(Wait(isTimeout ? timeout_ms : 0, owned->connection.stop()));
}
