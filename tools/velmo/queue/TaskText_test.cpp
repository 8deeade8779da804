#include "TaskText.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

class TaskTextTest : public testing::Test {
 protected:
  std::string problemOf(const std::string& name) const {
    const std::optional<TaskText> text = readTask(m_queue, name);
    return text ? text->problem : "gone";
  }

  test::TemporaryDirectory m_directory;
  tools::QueueDirectory m_queue{m_directory.path()};
};

TEST_F(TaskTextTest, FileHasACommandAndInformation) {
  m_directory.writeFile("x", "echo hello\n#1USE=u\n");
  const std::optional<TaskText> text = readTask(m_queue, "x");
  ASSERT_TRUE(text);
  EXPECT_EQ("echo hello", text->command);
  EXPECT_EQ("#1USE=u", text->information);
  EXPECT_EQ("", text->problem);
  EXPECT_EQ(19U, text->size);
}

TEST_F(TaskTextTest, FileThatIsGoneIsNothing) {
  EXPECT_FALSE(readTask(m_queue, "x"));
  EXPECT_FALSE(firstLineOf(m_queue, "x", 10));
}

TEST_F(TaskTextTest, FileThatIsMalformedSaysWhy) {
  m_directory.writeFile("x", "a\nb\nc\n");
  EXPECT_EQ("3 lines where one or two belong", problemOf("x"));
}

TEST_F(TaskTextTest, LinkIsNotFollowed) {
  m_directory.writeFile("x", "echo\n");
  std::filesystem::create_symlink("x", m_directory.path("link"));
  EXPECT_EQ("not a regular file", problemOf("link"));
  EXPECT_EQ("(not a regular file)", firstLineOf(m_queue, "link", 10));
}

TEST_F(TaskTextTest, PipeIsNotWaitedFor) {
  ASSERT_EQ(0, mkfifo(m_directory.path("pipe").c_str(), 0600));
  EXPECT_EQ("not a regular file", problemOf("pipe"));
}

TEST_F(TaskTextTest, FileThatCannotBeReadSaysWhy) {
  m_directory.writeFile("x", "echo\n");
  m_directory.setMode("", 0755);
  m_directory.setMode("x", 0);
  const test::UnprivilegedFiles unprivileged;
  EXPECT_EQ("cannot read: Permission denied", problemOf("x"));
  EXPECT_EQ("(cannot read: Permission denied)", firstLineOf(m_queue, "x", 10));
}

TEST_F(TaskTextTest, FileInADirectoryThatCannotBeSearchedIsNotCalledGone) {
  m_directory.writeFile("x", "echo\n");
  m_directory.setMode("", 0600);
  {
    const test::UnprivilegedFiles unprivileged;
    EXPECT_EQ("cannot read: Permission denied", problemOf("x"));
  }
  m_directory.setMode("", 0700);
}

TEST_F(TaskTextTest, FileThatIsTooLargeIsNotKept) {
  m_directory.writeFile("x", "");
  std::filesystem::resize_file(m_directory.path("x"), std::uintmax_t{65} * 1024 * 1024);
  EXPECT_EQ("larger than 64 MiB", problemOf("x"));
}

TEST_F(TaskTextTest, FirstLineIsCutAtTheLimit) {
  m_directory.writeFile("x", "echo hello\nb\n");
  EXPECT_EQ("echo hello", firstLineOf(m_queue, "x", 100));
  EXPECT_EQ("echo", firstLineOf(m_queue, "x", 4));
  m_directory.writeFile("x", "");
  EXPECT_EQ("(empty)", firstLineOf(m_queue, "x", 4));
}

TEST_F(TaskTextTest, FieldsAreAlwaysThere) {
  Json object;
  addText(object, TaskText{"a", {}, {}, 2});
  EXPECT_EQ(R"({"command":"a","information":null,"problem":null})", object.dump());
  addText(object, TaskText{"", {}, "empty", 0});
  EXPECT_EQ(R"({"command":null,"information":null,"problem":"empty"})", object.dump());
  addText(object, std::nullopt);
  EXPECT_EQ(R"({"command":null,"information":null,"problem":"not in the queue any more"})",
            object.dump());
}

}  // namespace
}  // namespace velmo::cli
