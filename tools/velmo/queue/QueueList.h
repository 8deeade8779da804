#ifndef VELMO_QUEUELIST_H
#define VELMO_QUEUELIST_H

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "QueueDirectory.h"
#include "QueueOptions.h"
#include "Session.h"
#include "TaskRow.h"

namespace velmo::cli {

/// Prints the tasks in the queue once, as a table or as JSON. Opens no file unless commands are
/// shown; tasks that leave the queue meanwhile are left out then.
class QueueList {
 public:
  /// @param directory  of the queue
  QueueList(const std::string& directory, const QueueOptions& options, Session& session);

  /// @throws Error, Failure, OutputClosed
  void print();

 private:
  void printJson(const std::vector<std::string>& names);
  void printTable(const std::vector<std::string>& names);
  void printCount(std::size_t printed, std::size_t all);
  TableLayout layoutFor(const std::vector<std::string>& names) const;
  std::optional<std::vector<std::string>> cellsOf(const std::string& name, TaskRow& row) const;

  std::string m_directory;
  tools::QueueDirectory m_queue;
  const QueueOptions& m_options;
  Session& m_session;
  std::time_t m_now;
  bool m_hasNames = false;
};

}  // namespace velmo::cli

#endif
