#include "QueueList.h"

#include <algorithm>
#include <utility>

#include "JsonLine.h"
#include "LibraryFault.h"
#include "Listing.h"
#include "OutputLines.h"
#include "TaskSelection.h"
#include "TaskText.h"
#include "WatchPage.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kLongestCommand = std::size_t{64} * 1024;
constexpr std::size_t kGap = 2;  // between columns

TaskFilter filterOf(const QueueOptions& options, std::time_t now) {
  TaskFilter filter{options.job, options.subJob, options.type, std::nullopt};
  if (options.olderThan) {
    filter.createdBefore = now - *options.olderThan;
  }
  return filter;
}

std::size_t longestOf(const std::vector<std::string>& names) {
  std::size_t longest = 0;
  for (const std::string& name : names) {
    longest = std::max(longest, columnsOf(name));
  }
  return longest;
}

}  // namespace

QueueList::QueueList(const std::string& directory, const QueueOptions& options, Session& session)
    : m_directory(directory),
      m_queue(directory),
      m_options(options),
      m_session(session),
      m_now(std::time(nullptr)) {}

void QueueList::print() {
  TaskSelection selection(filterOf(m_options, m_now), m_options.limit);
  if (const client::Outcome failure = client::eachTask(
          m_directory, [&](std::string name) { selection.add(std::move(name)); })) {
    throw errorOf(*failure);
  }
  const std::vector<std::string> names = selection.takeNames();
  if (m_options.isJson) {
    printJson(names);
    return;
  }
  if (!names.empty()) {
    printTable(names);
  }
  printCount(names.size(), selection.count());
}

void QueueList::printJson(const std::vector<std::string>& names) {
  OutputLines lines(m_session);
  for (const std::string& name : names) {
    Json object = fieldsOf(name, parseName(name).value_or(TaskName{}));
    if (m_options.hasCommands) {
      const std::optional<TaskText> text = readTask(m_queue, name);
      if (!text) {
        continue;
      }
      addText(object, text);
    }
    lines.add(jsonLine(object));
  }
  lines.flush();
}

TableLayout QueueList::layoutFor(const std::vector<std::string>& names) const {
  TableLayout layout(taskColumns());
  TaskRow row(m_now);
  for (const std::string& name : names) {
    layout.measure(row.cells(parseName(name).value_or(TaskName{})));
  }
  return layout;
}

std::optional<std::vector<std::string>> QueueList::cellsOf(const std::string& name,
                                                           TaskRow& row) const {
  std::vector<std::string> cells = row.cells(parseName(name).value_or(TaskName{}));
  if (m_hasNames) {
    cells.push_back(name);
  }
  if (m_options.hasCommands) {
    const std::size_t width = m_session.out.width();
    std::optional<std::string> line =
        firstLineOf(m_queue, name, width == 0 ? kLongestCommand : width * kBytesPerColumn);
    if (!line) {
      return std::nullopt;
    }
    cells.push_back(*std::move(line));
  }
  return cells;
}

void QueueList::printTable(const std::vector<std::string>& names) {
  TableLayout layout = layoutFor(names);
  const std::size_t width = m_session.out.width();
  const std::size_t longest = longestOf(names);
  m_hasNames = width == 0 || (!m_options.hasCommands && layout.width() + kGap + longest <= width);
  if (m_hasNames) {
    layout.append(nameColumn(), longest);
  }
  if (m_options.hasCommands) {
    layout.append(commandColumn());
  }
  layout.fitTo(width);

  OutputLines lines(m_session);
  lines.add(m_session.out.styled(layout.headings(), Style::Heading) + "\n");
  TaskRow row(m_now);
  for (const std::string& name : names) {
    if (const auto cells = cellsOf(name, row)) {
      lines.add(layout.line(*cells) + "\n");
    }
  }
  lines.flush();
}

// For people in front of a terminal only.
void QueueList::printCount(std::size_t printed, std::size_t all) {
  if (!m_session.out.isTerminal()) {
    return;
  }
  if (all == 0) {
    m_session.out.writeLine(nothingIn(!filterOf(m_options, m_now).isEmpty()));
  } else if (printed < all) {
    m_session.out.writeLine("... and " + std::to_string(all - printed) + " more");
  }
}

}  // namespace velmo::cli
