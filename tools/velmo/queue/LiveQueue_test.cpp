#include "LiveQueue.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "LocalTime.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

namespace fs = std::filesystem;

std::string name(int task, const std::string& job = "J1") {
  return "0050.20250303140509." + job + ".S0.T20250303140509-" + std::to_string(task) + ".R0000.sh";
}

class LiveQueueTest : public testing::Test {
 protected:
  void put(int task, const std::string& job = "J1") const {
    m_directory.writeFile("queue/" + name(task, job), "");
  }

  void remove(int task) const {
    fs::remove(m_directory.path("queue/" + name(task)));
  }

  // The numbers of tasks that came, and went: "+1 -1".
  static std::string updated(LiveQueue& queue) {
    std::string text;
    for (const tools::NameChange& change : queue.update()) {
      text += (text.empty() ? "" : " ") + std::string(change.isArrival ? "+" : "-") +
              std::to_string(parseName(change.name).value_or(TaskName{}).task);
    }
    return text;
  }

  test::TemporaryDirectory m_directory;
  std::string m_path = m_directory.makeDirectory("queue");
};

TEST_F(LiveQueueTest, TasksThatAreThereAtFirstAreNotChanges) {
  put(1);
  m_directory.writeFile("queue/README", "");
  LiveQueue queue(m_path, {});
  EXPECT_EQ(std::set<std::string>{name(1)}, queue.names());
  EXPECT_EQ("", updated(queue));
}

TEST_F(LiveQueueTest, EachChangeIsReportedThoughNothingIsLeftOfIt) {
  put(1);
  LiveQueue queue(m_path, {});
  put(2);
  remove(2);
  remove(1);
  put(3);
  EXPECT_EQ("+2 -2 -1 +3", updated(queue));
  EXPECT_EQ(std::set<std::string>{name(3)}, queue.names());
}

TEST_F(LiveQueueTest, ChangeWakesAWaiter) {
  LiveQueue queue(m_path, {});
  pollfd file{queue.descriptor(), POLLIN, 0};
  EXPECT_EQ(0, poll(&file, 1, 0));
  put(1);
  EXPECT_EQ(1, poll(&file, 1, 0));
  queue.update();
  EXPECT_EQ(0, poll(&file, 1, 0));
}

TEST_F(LiveQueueTest, TasksThatDoNotPassTheFilterAreIgnored) {
  LiveQueue queue(m_path, {"J2", {}, {}, {}});
  put(1, "J1");
  put(2, "J2");
  m_directory.writeFile("queue/README", "");
  EXPECT_EQ("+2", updated(queue));
}

TEST_F(LiveQueueTest, DirectoryThatReplacesTheQueueIsFollowed) {
  put(1);
  put(2);
  LiveQueue queue(m_path, {});
  fs::rename(m_path, m_directory.path("old"));
  m_directory.makeDirectory("queue");
  put(2);
  put(3);
  EXPECT_EQ("-1 +3", updated(queue));
  put(4);
  pollfd file{queue.descriptor(), POLLIN, 0};
  EXPECT_EQ(1, poll(&file, 1, 0));
  EXPECT_EQ("+4", updated(queue));
}

TEST_F(LiveQueueTest, QueueThatIsGoneIsReported) {
  LiveQueue queue(m_path, {});
  fs::remove_all(m_path);
  try {
    queue.update();
    FAIL();
  } catch (const Error& failure) {
    EXPECT_EQ(Status::notConfigured, failure.status());
    EXPECT_EQ("the directory of VAR is missing: \"" + m_path + "\": No such file or directory",
              std::string(failure.what()));
  }
}

TEST_F(LiveQueueTest, QueueThatIsMissingIsReported) {
  EXPECT_THROW(LiveQueue(m_directory.path("none"), {}), Error);
}

TEST_F(LiveQueueTest, TimeOfTheLastChangeIsFirstThatOfTheDirectory) {
  const timespec past[2] = {{1000, 0}, {1000, 0}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, m_path.c_str(), past, 0));
  LiveQueue queue(m_path, {});
  EXPECT_EQ(1000, queue.lastChange());
  put(1);
  queue.update();
  EXPECT_LT(1000, queue.lastChange());
}

}  // namespace
}  // namespace velmo::cli
