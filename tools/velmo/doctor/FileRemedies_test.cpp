#include "FileRemedies.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

std::string taskName(int task) {
  return "0050.20250303140509.J41.S0.T20250303140509-" + std::to_string(task) + ".R0002.sh";
}

class FileRemediesTest : public testing::Test {
 protected:
  void writeOld(const std::string& name) const {
    const std::string path = directory.writeFile(name, "");
    const std::array<timespec, 2> times{{{1'000'000, 0}, {1'000'000, 0}}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), 0));
  }

  std::vector<std::string> leftovers(int count) const {
    std::vector<std::string> names;
    for (int task = 0; task < count; ++task) {
      names.push_back(taskName(task));
      writeOld(names.back());
    }
    return names;
  }

  std::string here() const {
    return directory.path().string();
  }

  test::TemporaryDirectory directory;
};

TEST_F(FileRemediesTest, FreshNameIsNotTaken) {
  EXPECT_EQ(here() + "/x.old", freshName(here() + "/x", ".old"));
  directory.writeFile("x.old", "");
  directory.writeFile("x.old2", "");
  EXPECT_EQ(here() + "/x.old3", freshName(here() + "/x", ".old"));
}

TEST_F(FileRemediesTest, PathsAreQuoted) {
  EXPECT_EQ("mkdir -p '/it'\\''s'", makeDirectory("/it's").command);
  EXPECT_EQ("mv '/no such/x' '/no such/x.old'", moveAway("/no such/x").command);
}

TEST_F(FileRemediesTest, PathThatCannotBePastedHasNoCommand) {
  EXPECT_FALSE(makeDirectory("/x\n").command);
  EXPECT_EQ("its path ends with a line feed: rename it", makeDirectory("/x\n").advice);
  EXPECT_FALSE(moveAway("/x\n").command);
}

TEST_F(FileRemediesTest, FewLeftoversAreNamed) {
  const std::vector<std::string> names = leftovers(2);
  EXPECT_EQ("rm -f '" + here() + "/" + names[0] + "' '" + here() + "/" + names[1] + "'",
            deleteTaskFiles(here(), names).command);
}

TEST_F(FileRemediesTest, ManyLeftoversAreSelectedByAPattern) {
  EXPECT_EQ("LC_ALL=C find '" + here() +
                "/' -maxdepth 1 -type f -mmin +1 -name '[-0-9]*.[0-9]*.*.S*.T*-*.R*.*' -exec rm -f "
                "{} +",
            deleteTaskFiles(here(), leftovers(100)).command);
}

TEST_F(FileRemediesTest, PatternThatSelectsMoreIsNotUsed) {
  const std::vector<std::string> names = leftovers(100);
  writeOld("5.5.x.Sx.Tx-x.Rx.x");  // matches, but is not a task
  const Remedy remedy = deleteTaskFiles(here(), names);
  EXPECT_EQ(0U, remedy.command->find("rm -f '"));
  EXPECT_LE(remedy.command->size(), 4000U);
  const auto count = std::count(remedy.command->begin(), remedy.command->end(), '\'') / 2;
  EXPECT_LT(10, count);
  EXPECT_EQ("they hold commands that never ran: read them before you delete them; " +
                std::to_string(names.size() - static_cast<std::size_t>(count)) +
                " more remain: run velmo doctor again",
            remedy.advice);
}

TEST_F(FileRemediesTest, DirectoriesAreNotDeleted) {
  directory.makeDirectory(taskName(1));
  const Remedy remedy = deleteTaskFiles(here(), {taskName(1)});
  EXPECT_FALSE(remedy.command);
  EXPECT_EQ("move them elsewhere: they are not files", remedy.advice);
}

TEST_F(FileRemediesTest, FilesOfTheQueueAreMovedToANewDirectory) {
  const Remedy remedy = moveOutOfQueue(here() + "/q", {"b", "a b"});
  EXPECT_EQ("mkdir '" + here() + "/q.other' && mv '" + here() + "/q/a b' '" + here() + "/q/b' '" +
                here() + "/q.other'",
            remedy.command);
}

TEST_F(FileRemediesTest, OfManyFilesTheFirstAreMoved) {
  std::vector<std::string> names(5, std::string(1000, 'x'));  // which are not there
  const Remedy remedy = moveOutOfQueue("/q", names);
  EXPECT_EQ(
      "a program may need them: look at them before you delete them; 2 more remain: run velmo "
      "doctor again",
      remedy.advice);
  EXPECT_LE(remedy.command->size(), 4000U);
}

TEST_F(FileRemediesTest, QuotedWordsAreCounted) {
  const std::vector<std::string> names(40, std::string(50, '\''));
  EXPECT_LE(moveOutOfQueue("/q", names).command->size(), 4000U);
}

TEST_F(FileRemediesTest, ManyFilesOfTheQueueAreSelectedByAPattern) {
  std::vector<std::string> names;
  for (int i = 0; i < 300; ++i) {
    names.push_back("x" + std::to_string(i));
    directory.writeFile(names.back(), "");
  }
  directory.writeFile(taskName(1), "");
  const Remedy remedy = moveOutOfQueue(here(), names);
  EXPECT_EQ("mkdir '" + here() + ".other' && LC_ALL=C find '" + here() +
                "/' -mindepth 1 -maxdepth 1 ! -name '[-0-9]*.[0-9]*.*.S*.T*-*.R*.*' -exec mv -t '" +
                here() + ".other' {} +",
            remedy.command);
  EXPECT_EQ("a program may need them: look at them before you delete them", remedy.advice);
}

TEST_F(FileRemediesTest, OwnerGetsTheCommand) {
  const std::string path = directory.writeFile("x", "");
  EXPECT_EQ("chmod u+r '" + path + "'", permit(path, "u+r").command);
  EXPECT_EQ("chmod o-w '" + path + "'", closeToOthers(path).command);
  EXPECT_EQ("the programs and the service need to be its owner, or in its group",
            closeToOthers(path).advice);
}

}  // namespace
}  // namespace velmo::cli
