#include "Progress.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "FileDescriptor.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

using namespace std::chrono_literals;

class ProgressTest : public testing::Test {
 protected:
  std::string shown() const {
    return test::readFile(m_path);
  }

  static BulkCounts queued(std::uint64_t count) {
    BulkCounts counts;
    counts.queued = count;
    return counts;
  }

  test::TemporaryDirectory m_directory;
  std::string m_path = m_directory.path("terminal");
  tools::FileDescriptor m_file{open(m_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
  Output m_output{m_file.get()};
  Progress::Time m_start{};
};

TEST_F(ProgressTest, LineIsDrawnAtMostFiveTimesASecond) {
  Progress progress(m_output, true, m_start);
  progress.show(queued(1), m_start + 199ms);
  EXPECT_EQ("", shown());
  progress.show(queued(2), m_start + 200ms);
  EXPECT_EQ("\rvelmo: 2 queued, 0 failed, 0 in doubt, 10 tasks/s", shown());
  progress.show(queued(3), m_start + 399ms);
  EXPECT_EQ("\rvelmo: 2 queued, 0 failed, 0 in doubt, 10 tasks/s", shown());
}

TEST_F(ProgressTest, ShorterLineOverwritesTheFormerOne) {
  Progress progress(m_output, true, m_start);
  progress.show(queued(10), m_start + 1s);
  progress.show(queued(1), m_start + 2s);
  EXPECT_EQ(
      "\rvelmo: 10 queued, 0 failed, 0 in doubt, 10 tasks/s"
      "\rvelmo: 1 queued, 0 failed, 0 in doubt, 0 tasks/s  ",
      shown());
}

TEST_F(ProgressTest, ClearRemovesTheLine) {
  Progress progress(m_output, true, m_start);
  progress.clear();
  EXPECT_EQ("", shown());
  progress.show(queued(1), m_start + 1s);
  const std::string line = shown();
  progress.clear();
  EXPECT_EQ(line + "\r" + std::string(line.size() - 1, ' ') + "\r", shown());
}

TEST_F(ProgressTest, NothingIsWrittenUnlessItIsShown) {
  Progress progress(m_output, false, m_start);
  progress.show(queued(1), m_start + 1s);
  progress.clear();
  EXPECT_EQ("", shown());
}

TEST_F(ProgressTest, TerminalThatFailsIsIgnored) {
  const tools::FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  Output output(full.get());
  Progress progress(output, true, m_start);
  EXPECT_NO_THROW(progress.show(queued(1), m_start + 1s));
  EXPECT_NO_THROW(progress.clear());
}

}  // namespace
}  // namespace velmo::cli
