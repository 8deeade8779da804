#include "QueueWatch.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <optional>
#include <utility>

#include "Failure.h"
#include "FullScreen.h"
#include "JsonLine.h"
#include "LocalTime.h"
#include "OneLine.h"
#include "OutputLines.h"
#include "TaskRow.h"
#include "TaskText.h"

namespace velmo::cli {

namespace {

constexpr std::chrono::milliseconds kBetweenPages{200};
constexpr std::chrono::milliseconds kBetweenLooks{1000};
constexpr std::size_t kLongestCommand = 4096;
constexpr std::size_t kHeadings = 1;  // their line

std::string timeText(std::time_t moment) {
  std::tm local{};
  std::array<char, 32> text{};
  localtime_r(&moment, &local);
  std::strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &local);
  return text.data();
}

TaskFilter filterOf(const QueueOptions& options) {
  return {options.job, options.subJob, options.type, std::nullopt};
}

}  // namespace

QueueWatch::QueueWatch(const std::string& directory, const QueueOptions& options, Session& session)
    : m_directory(directory),
      m_files(directory),
      m_options(options),
      m_session(session),
      m_queue(directory, filterOf(options)) {}

// A signal is the usual way to end a watch, so it is not a failure.
void QueueWatch::run() {
  try {
    const bool isPage = !m_options.isJson && FullScreen::isPossible(m_session.out);
    isPage ? showPages() : printChanges();
  } catch (const Failure& failure) {
    if (failure.status() != Status::stopped) {
      throw;
    }
  }
}

void QueueWatch::showPages() {
  FullScreen screen(m_session.out);
  do {
    m_queue.update();
    draw(screen);
  } while (!endsBeforeNextPage(screen));
}

// The first wait limits the pages of a second; a change ends the second one. A signal ends both: it
// may be that of a new size.
bool QueueWatch::endsBeforeNextPage(FullScreen& screen) const {
  const auto now = std::chrono::steady_clock::now();
  WatchWait::End end = pause(screen, now + kBetweenPages, -1);
  if (end == WatchWait::End::Time) {
    end = pause(screen, now + kBetweenLooks, m_queue.descriptor());
  }
  return end == WatchWait::End::Key || m_session.interrupt.isRequested();
}

// Of the keys, only the one that quits ends it.
WatchWait::End QueueWatch::pause(FullScreen& screen, std::chrono::steady_clock::time_point deadline,
                                 int change) const {
  const WatchWait wait(m_session.interrupt);
  WatchWait::End end = WatchWait::End::Key;
  do {
    end = wait.until(deadline, change, screen.keys());
  } while (end == WatchWait::End::Key && !screen.takesQuit());
  return end;
}

void QueueWatch::draw(FullScreen& screen) {
  const std::size_t height = m_session.out.height();
  const std::size_t width = m_session.out.width();
  const WatchPage shown = page(rowsFor(height), width);
  screen.draw(linesOf(shown, width, height),
              shown.count > 0 ? std::optional(kHeadings) : std::nullopt);
}

WatchPage QueueWatch::page(std::size_t rows, std::size_t width) const {
  WatchPage page{m_directory,
                 withSeparators(timeText(m_queue.lastChange())),
                 m_queue.names().size(),
                 {},
                 !filterOf(m_options).isEmpty()};
  TaskRow row(std::time(nullptr));
  auto name = m_queue.names().begin();
  for (std::size_t left = std::min(rows, page.count); left > 0; --left, ++name) {
    std::vector<std::string> cells = row.cells(parseName(*name).value_or(TaskName{}));
    cells.push_back(firstLineOf(m_files, *name, width * kBytesPerColumn).value_or("(gone)"));
    page.rows.push_back(std::move(cells));
  }
  return page;
}

void QueueWatch::printChanges() {
  OutputLines lines(m_session);
  for (const std::string& name : m_queue.names()) {
    lines.add(lineOf("present", name));
  }
  lines.flush();
  const WatchWait wait(m_session.interrupt);
  while (!m_session.interrupt.isRequested()) {
    for (const tools::NameChange& change : m_queue.update()) {
      lines.add(lineOf(change.isArrival ? "arrived" : "gone", change.name));
    }
    lines.flush();
    wait.until(std::chrono::steady_clock::now() + kBetweenLooks, m_queue.descriptor(), -1);
  }
}

std::string QueueWatch::lineOf(const std::string& event, const std::string& name) const {
  const std::string now = timeText(std::time(nullptr));
  const bool hasCommand = m_options.hasCommands && event != "gone";
  if (!m_options.isJson) {
    const std::string command =
        hasCommand ? "  " + firstLineOf(m_files, name, kLongestCommand).value_or("(gone)") : "";
    return withSeparators(now) + "  " + event + "  " + tools::oneLine(name + command) + "\n";
  }
  Json object{{"event", event}, {"at", withSeparators(now, 'T')}};
  object.update(fieldsOf(name, parseName(name).value_or(TaskName{})));
  if (hasCommand) {
    addText(object, readTask(m_files, name));
  }
  return jsonLine(object);
}

}  // namespace velmo::cli
