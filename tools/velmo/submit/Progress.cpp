#include "Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <utility>

#include "Failure.h"
#include "Table.h"

namespace velmo::cli {

namespace {

constexpr std::chrono::milliseconds kPause{200};

}  // namespace

Progress::Progress(Output& output, bool isShown, Time start)
    : m_output(output), m_isShown(isShown), m_start(start), m_next(start + kPause) {}

void Progress::show(const BulkCounts& counts, Time now) {
  if (!m_isShown || now < m_next) {
    return;
  }
  m_next = now + kPause;
  const double seconds = std::chrono::duration<double>(now - m_start).count();
  const std::string text =
      fmt::format("velmo: {} queued, {} failed, {} in doubt, {:.0f} tasks/s", counts.queued,
                  counts.failed, counts.inDoubt, static_cast<double>(counts.queued) / seconds);
  const std::size_t width = m_output.width();
  draw(cutTo(text, width > 1 ? width - 1 : width));  // the last column may wrap
}

void Progress::clear() {
  if (m_width > 0) {
    draw("");
  }
}

// A shorter line overwrites the rest of the former one with blanks.
void Progress::draw(const std::string& text) {
  const std::size_t former = std::exchange(m_width, text.size());
  try {
    const std::string blanks(former - std::min(former, text.size()), ' ');
    m_output.write("\r" + text + blanks + (text.empty() ? "\r" : ""));
  } catch (const OutputClosed&) {
    m_isShown = false;
  } catch (const Failure&) {
    m_isShown = false;
  } catch (const std::bad_alloc&) {
    m_isShown = false;
  }
}

}  // namespace velmo::cli
