#include "QueuePlace.h"

#include <algorithm>
#include <utility>

#include "Failure.h"
#include "LibraryFault.h"
#include "Listing.h"
#include "OneLine.h"
#include "Settings.h"

namespace velmo::cli {

namespace {

bool isNumber(const std::string& text) {
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

}  // namespace

std::string queueDirectoryOf(const Installation& installation) {
  std::string directory = installation.queueDirectory();
  if (directory.empty()) {
    valueOf(client::directoryOf(valueOf(client::takeSettings(nullptr)).var));  // says why
  }
  return directory;
}

TaskFinder::TaskFinder(std::string directory) : m_directory(std::move(directory)) {}

// Once for all numbers: a task that has left since then is not found when its name is used.
void TaskFinder::readQueue() {
  const client::Outcome failure = client::eachTask(m_directory, [&](const std::string& name) {
    if (const std::optional<TaskName> parts = parseName(name)) {
      m_names.emplace(std::to_string(parts->task), name);
    }
  });
  if (failure) {
    throw errorOf(*failure);
  }
  m_isRead = true;
}

std::string TaskFinder::nameOf(const std::string& given) {
  if (!isNumber(given)) {
    return given;
  }
  if (!m_isRead) {
    readQueue();
  }
  const auto [first, last] = m_names.equal_range(given);
  if (first == last) {
    throw Failure(Status::notFound, "not in the queue: " + given);
  }
  if (std::next(first) != last) {
    const std::string example = tools::oneLine(std::min(first->second, std::next(first)->second));
    throw Failure(Status::invalidArgument,
                  "several tasks have the number " + given + "; give a name, such as " + example);
  }
  return first->second;
}

}  // namespace velmo::cli
