#ifndef VELMO_TASKSENDER_H
#define VELMO_TASKSENDER_H

#include <velmo/velmo.hpp>

#include <chrono>
#include <optional>
#include <string>

namespace velmo::cli {

/// How long a submission may wait.
using Timeout = std::chrono::duration<double>;

/// A way to submit tasks, one after the other.
class TaskSender {
 public:
  TaskSender() = default;
  TaskSender(const TaskSender&) = delete;
  TaskSender& operator=(const TaskSender&) = delete;
  virtual ~TaskSender() = default;

  /// Submits a task.
  /// @return its name
  /// @throws Error, InDoubt  as the library does
  virtual std::string send(const Task& task) = 0;

  /// Whether later tasks would fail too, so that they need not be tried.
  virtual bool isLost() const = 0;
};

/// Submits by file. It is lost when the service is not running, and after a timeout.
class FileSender : public TaskSender {
 public:
  FileSender(const Installation& installation, Timeout timeout, Durability durability);

  std::string send(const Task& task) override;

  bool isLost() const override {
    return m_isLost;
  }

 private:
  Installation m_installation;
  Timeout m_timeout;
  Durability m_durability;
  bool m_isLost = false;
};

/// Submits by message over one connection, opened by the first task. If it becomes unusable, the
/// next task opens another. A task that was certainly not sent because the service had ended the
/// connection meanwhile is sent again over a new one.
///
/// It is lost when no connection can be opened.
class MessageSender : public TaskSender {
 public:
  MessageSender(Endpoint endpoint, Timeout timeout);

  std::string send(const Task& task) override;

  bool isLost() const override {
    return m_isLost;
  }

 private:
  bool isConnected() const;
  void connect(Deadline deadline);

  Endpoint m_endpoint;
  Timeout m_timeout;
  std::optional<Connection> m_connection;
  bool m_isLost = false;
};

}  // namespace velmo::cli

#endif
