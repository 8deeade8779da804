#ifndef VELMO_QUEUEWATCH_H
#define VELMO_QUEUEWATCH_H

#include <chrono>
#include <cstddef>
#include <string>

#include "LiveQueue.h"
#include "QueueDirectory.h"
#include "QueueOptions.h"
#include "Session.h"
#include "WatchPage.h"
#include "WatchWait.h"

namespace velmo::cli {

class FullScreen;

/// Shows the queue as it changes, until the user ends it: on a terminal as a page, otherwise as a
/// line for each change.
class QueueWatch {
 public:
  /// @param directory  of the queue
  /// @throws Error  the queue cannot be read
  QueueWatch(const std::string& directory, const QueueOptions& options, Session& session);

  /// @throws Error  the queue is gone, or cannot be read any more
  /// @throws Failure, OutputClosed
  void run();

 private:
  void showPages();
  void printChanges();
  void draw(FullScreen& screen);
  WatchPage page(std::size_t rows, std::size_t width) const;
  bool endsBeforeNextPage(FullScreen& screen) const;
  WatchWait::End pause(FullScreen& screen, std::chrono::steady_clock::time_point deadline,
                       int change) const;
  std::string lineOf(const std::string& event, const std::string& name) const;

  std::string m_directory;
  tools::QueueDirectory m_files;
  const QueueOptions& m_options;
  Session& m_session;
  LiveQueue m_queue;
};

}  // namespace velmo::cli

#endif
