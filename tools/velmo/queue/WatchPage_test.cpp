#include "WatchPage.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

WatchPage pageOf(std::size_t count, std::size_t rows) {
  WatchPage page{"/var/taskqueue", "14:05:09", count, {}, false};
  for (std::size_t i = 0; i < rows; ++i) {
    page.rows.push_back({"50", "3 s", "J1", "0", std::to_string(i), "2", "sh", "echo hello"});
  }
  return page;
}

using Lines = std::vector<std::string>;

TEST(WatchPageTest, HeaderHeadingsAndRowsFillThePage) {
  EXPECT_EQ((Lines{"/var/taskqueue: 2 tasks, last change 14:05:09",
                   "PRIORITY  AGE  JOB  SUB-JOB  TASK  REL  TYPE  COMMAND",
                   "      50  3 s  J1   0           0    2  sh    echo hello",
                   "      50  3 s  J1   0           1    2  sh    echo hello"}),
            linesOf(pageOf(2, 2), 80, 4));
}

TEST(WatchPageTest, LastLineSaysHowManyTasksAreNotShown) {
  const Lines lines = linesOf(pageOf(96, 3), 80, 5);
  ASSERT_EQ(5U, lines.size());
  EXPECT_EQ("      50  3 s  J1   0           1    2  sh    echo hello", lines[3]);
  EXPECT_EQ("... and 94 more", lines[4]);
}

TEST(WatchPageTest, EmptyQueueSaysSo) {
  EXPECT_EQ((Lines{"/var/taskqueue: 0 tasks, last change 14:05:09", "the queue is empty"}),
            linesOf(pageOf(0, 0), 80, 24));
}

TEST(WatchPageTest, NoLineIsWiderThanTheTerminal) {
  for (std::size_t width = 1; width < 60; ++width) {
    for (const std::string& line : linesOf(pageOf(9, 3), width, 5)) {
      EXPECT_LE(line.size(), width);
    }
  }
}

TEST(WatchPageTest, NoPageIsHigherThanTheTerminal) {
  for (std::size_t height = 0; height < 8; ++height) {
    EXPECT_LE(linesOf(pageOf(9, rowsFor(height)), 80, height).size(), height);
  }
}

TEST(WatchPageTest, LongPathKeepsItsEnd) {
  EXPECT_EQ(".../taskqueue: 1 task, last change 14:05:09",
            linesOf({"/a/long/way/to/the/taskqueue", "14:05:09", 1, {}, false}, 43, 1).at(0));
}

TEST(WatchPageTest, LongPathBeginsWithAWholeCharacter) {
  EXPECT_EQ("...\xc3\xbc\xc3\xbc: 1 task, last change 14:05:09",
            linesOf({"/\xc3\xa4\xc3\xb6\xc3\xbc\xc3\xbc\xc3\xbc", "14:05:09", 1, {}, false}, 35, 1)
                .at(0));
}

TEST(WatchPageTest, NothingThatMatchesIsNotAnEmptyQueue) {
  EXPECT_EQ((Lines{"/q: 0 matching tasks, last change 14:05:09", "no task in the queue matches"}),
            linesOf({"/q", "14:05:09", 0, {}, true}, 80, 24));
}

TEST(WatchPageTest, ControlCharactersBecomeQuestionMarks) {
  WatchPage page = pageOf(1, 1);
  page.directory = "/\x1b";
  page.rows[0].back() = "echo \x1b[31m\xc2\x9b";
  const Lines lines = linesOf(page, 80, 24);
  EXPECT_EQ("/?: 1 task, last change 14:05:09", lines[0]);
  EXPECT_EQ("      50  3 s  J1   0           0    2  sh    echo ?[31m?", lines[2]);
}

}  // namespace
}  // namespace velmo::cli
