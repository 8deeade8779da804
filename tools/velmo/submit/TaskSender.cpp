#include "TaskSender.h"

#include <utility>

namespace velmo::cli {

FileSender::FileSender(const Installation& installation, Timeout timeout, Durability durability)
    : m_installation(installation), m_timeout(timeout), m_durability(durability) {}

std::string FileSender::send(const Task& task) {
  try {
    return m_installation.submit(task, m_timeout, m_durability);
  } catch (const Error& failure) {
    m_isLost = failure.status() == Status::notRunning || failure.status() == Status::timedOut;
    throw;
  }
}

MessageSender::MessageSender(Endpoint endpoint, Timeout timeout)
    : m_endpoint(std::move(endpoint)), m_timeout(timeout) {}

std::string MessageSender::send(const Task& task) {
  const Deadline deadline(m_timeout);
  const bool isReused = isConnected();
  if (!isReused) {
    connect(deadline);
  }
  try {
    return m_connection->send(task, deadline);
  } catch (const Error& failure) {
    if (!isReused || failure.status() != Status::connectionLost) {
      throw;
    }
  }
  connect(deadline);
  return m_connection->send(task, deadline);
}

bool MessageSender::isConnected() const {
  return m_connection && m_connection->isUsable();
}

void MessageSender::connect(Deadline deadline) {
  m_connection.reset();
  try {
    m_connection.emplace(m_endpoint, deadline);
  } catch (const Error& failure) {
    m_isLost = failure.status() != Status::stopped;
    throw;
  }
}

}  // namespace velmo::cli
