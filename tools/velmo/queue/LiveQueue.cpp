#include "LiveQueue.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

#include "LibraryFault.h"
#include "Listing.h"

namespace velmo::cli {

namespace {

bool isSame(const timespec& one, const timespec& other) {
  return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

}  // namespace

// The watch begins before the queue is read, so that no change is lost.
LiveQueue::LiveQueue(std::string directory, TaskFilter filter)
    : m_directory(std::move(directory)), m_filter(std::move(filter)) {
  startWatch();
  m_state = look();
  std::vector<tools::NameChange> first;
  compareWithDirectory(first);
  m_lastChange = m_state.modified.tv_sec;
}

int LiveQueue::descriptor() const {
  return m_watch ? m_watch->descriptor() : -1;
}

// The limits of the kernel may not permit another watch.
void LiveQueue::startWatch() {
  m_watch.reset();
  try {
    m_watch.emplace(m_directory, tools::Watched::Names);
  } catch (const std::system_error&) {
  }
}

// All zero if the directory is gone, which equals no directory. Reading it then fails.
LiveQueue::DirectoryState LiveQueue::look() const {
  struct stat status {};
  if (stat(m_directory.c_str(), &status) != 0) {
    return {};
  }
  return {status.st_dev, status.st_ino, status.st_mtim};
}

bool LiveQueue::isTask(const std::string& name) {
  const std::optional<TaskName> parts = parseName(name);
  return parts && m_filter.passes(*parts);
}

void LiveQueue::apply(const tools::NameChange& change, std::vector<tools::NameChange>& done) {
  if (!isTask(change.name)) {
    return;
  }
  const bool isNews =
      change.isArrival ? m_names.insert(change.name).second : m_names.erase(change.name) > 0;
  if (isNews) {
    done.push_back(change);
  }
}

void LiveQueue::compareWithDirectory(std::vector<tools::NameChange>& done) {
  std::set<std::string> there;
  if (const client::Outcome failure = client::eachTask(m_directory, [&](std::string name) {
        if (isTask(name)) {
          there.insert(std::move(name));
        }
      })) {
    throw errorOf(*failure);
  }
  const auto report = [&](bool isArrival) {
    return [&done, isArrival](const std::string& name) { done.push_back({isArrival, name}); };
  };
  std::vector<std::string> changed;
  std::set_difference(m_names.begin(), m_names.end(), there.begin(), there.end(),
                      std::back_inserter(changed));
  std::for_each(changed.begin(), changed.end(), report(false));
  changed.clear();
  std::set_difference(there.begin(), there.end(), m_names.begin(), m_names.end(),
                      std::back_inserter(changed));
  std::for_each(changed.begin(), changed.end(), report(true));
  m_names.swap(there);
}

std::vector<tools::NameChange> LiveQueue::update() {
  const tools::DirectoryChanges changes =
      m_watch ? m_watch->take() : tools::DirectoryChanges{{}, true, false};
  std::vector<tools::NameChange> done;
  for (const tools::NameChange& change : changes.names) {
    apply(change, done);
  }
  const DirectoryState state = look();
  const bool isOther =
      changes.isOver || state.device != m_state.device || state.inode != m_state.inode;
  const bool isUnreported = changes.names.empty() && !isSame(state.modified, m_state.modified);
  if (isOther) {
    startWatch();
  }
  if (isOther || isUnreported || changes.isIncomplete) {
    compareWithDirectory(done);
  }
  m_state = state;
  if (!done.empty()) {
    m_lastChange = std::time(nullptr);
  }
  return done;
}

}  // namespace velmo::cli
