#include "Listing.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "ShownResult.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::cancelTask;
using velmo::client::eachTask;
using velmo::client::listTasks;
using velmo::client::namesIn;
using velmo::client::parseName;
using velmo::client::Result;
using velmo::test::exists;
using velmo::test::openDescriptors;
using velmo::test::shown;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

const std::string kTask = "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh";

std::string name(const std::string& start, const std::string& job = "J1") {
  return start + ".20250303140509." + job + ".S0.T20250303140509-1.R0000.sh";
}

// The names, or the failure alone.
std::vector<std::string> listed(const std::string& directory) {
  const Result<velmo_listing> listing = listTasks(directory);
  return listing.isOk() ? listing.value().names : std::vector<std::string>{shown(listing.fault())};
}

// --- parseName ---

TEST(ParseNameTest, NamesThatNoFileCanHaveAreRefused) {
  EXPECT_TRUE(parseName(kTask));
  EXPECT_TRUE(parseName(name("0050", std::string(200, 'J'))));
  EXPECT_FALSE(parseName(name("0050", std::string(210, 'J'))));
  EXPECT_FALSE(parseName(name("0050", "a/b")));
  EXPECT_FALSE(parseName("README"));
  EXPECT_FALSE(parseName(""));
}

// --- listTasks ---

TEST(ListTasksTest, NamesAreInTheOrderOfTheirBytes) {
  const TemporaryDirectory directory;
  const std::vector<std::string> ordered{
      name("-001"), name("0050", "J1"), name("0050", "J\xc3\xa4"),
      name("0051"), name("10000"),      name("9999")};
  for (const std::string& task : ordered) {
    directory.writeFile(task, "");
  }
  EXPECT_EQ(ordered, listed(directory.path()));
}

TEST(ListTasksTest, OtherFilesAreLeftOut) {
  const TemporaryDirectory directory;
  directory.writeFile("README", "");
  directory.writeFile("." + kTask, "");
  directory.writeFile(kTask, "");
  EXPECT_EQ(std::vector<std::string>{kTask}, listed(directory.path()));
}

TEST(ListTasksTest, EmptyQueueHasNone) {
  const TemporaryDirectory directory;
  EXPECT_TRUE(listed(directory.path()).empty());
}

TEST(ListTasksTest, QueueThatIsMissingIsNotConfigured) {
  const TemporaryDirectory directory;
  const std::string missing = directory.path("taskqueue");
  EXPECT_EQ("NOT_CONFIGURED: the directory of VAR is missing: \"" + missing +
                "\": No such file or directory",
            listed(missing).at(0));
  directory.writeFile("taskqueue", "");
  EXPECT_EQ("NOT_CONFIGURED: the directory of VAR is missing: \"" + missing + "\": Not a directory",
            listed(missing).at(0));
}

TEST(ListTasksTest, QueueThatCannotBeReadIsASystemError) {
  const TemporaryDirectory directory;
  const std::string queue = directory.makeDirectory("q");
  chmod(queue.c_str(), 0300);
  {
    const UnprivilegedFiles unprivileged;
    EXPECT_EQ("SYSTEM_ERROR: cannot list the queue \"" + queue + "\": Permission denied",
              listed(queue).at(0));
  }
  chmod(queue.c_str(), 0700);
}

TEST(ListTasksTest, NamedPipeInThePlaceOfTheQueueIsNotWaitedFor) {
  const TemporaryDirectory directory;
  ASSERT_EQ(0, mkfifo(directory.path("pipe").c_str(), 0600));
  EXPECT_EQ(ENOTDIR, namesIn(directory.path("pipe")).error);
}

TEST(ListTasksTest, NoDescriptorStaysOpen) {
  const TemporaryDirectory directory;
  directory.writeFile(kTask, "");
  const std::size_t before = openDescriptors();
  listed(directory.path());
  EXPECT_EQ(before, openDescriptors());
}

// --- eachTask ---

TEST(EachTaskTest, TakesTheNamesOfTasksOnly) {
  const TemporaryDirectory directory;
  directory.writeFile("README", "");
  directory.writeFile(kTask, "");
  std::vector<std::string> names;
  EXPECT_EQ("OK", shown(eachTask(directory.path(),
                                 [&](std::string task) { names.push_back(std::move(task)); })));
  EXPECT_EQ(std::vector<std::string>{kTask}, names);
}

TEST(EachTaskTest, QueueThatIsMissingIsNotConfigured) {
  const TemporaryDirectory directory;
  const std::string missing = directory.path("taskqueue");
  EXPECT_EQ("NOT_CONFIGURED: the directory of VAR is missing: \"" + missing +
                "\": No such file or directory",
            shown(eachTask(missing, [](const std::string&) { ADD_FAILURE(); })));
}

// --- cancelTask ---

TEST(CancelTaskTest, RemovesTheTask) {
  const TemporaryDirectory directory;
  const std::string path = directory.writeFile(kTask, "");
  EXPECT_EQ("OK", shown(cancelTask(directory.path(), kTask)));
  EXPECT_FALSE(exists(path));
}

TEST(CancelTaskTest, TaskThatIsNotThereIsNotFound) {
  const TemporaryDirectory directory;
  EXPECT_EQ("NOT_FOUND: not in the queue (any more): \"" + kTask + "\"",
            shown(cancelTask(directory.path(), kTask)));
}

TEST(CancelTaskTest, OtherFilesAreNotRemoved) {
  const TemporaryDirectory directory;
  directory.makeDirectory("queue");
  directory.writeFile("README", "");
  directory.writeFile(kTask, "");
  for (const std::string& given : {std::string(), std::string("README"), std::string("."),
                                   "../" + kTask, name("0050", "/../x")}) {
    EXPECT_EQ("INVALID_ARGUMENT: not the name of a task: \"" + given + "\"",
              shown(cancelTask(directory.path("queue"), given)));
  }
  EXPECT_EQ(3U, namesIn(directory.path()).names.size());
}

TEST(CancelTaskTest, DirectoryOfTheNameIsNotRemoved) {
  const TemporaryDirectory directory;
  const std::string path = directory.makeDirectory(kTask);
  EXPECT_EQ("SYSTEM_ERROR: cannot remove the task file \"" + path + "\": Is a directory",
            shown(cancelTask(directory.path(), kTask)));
}

}  // namespace
