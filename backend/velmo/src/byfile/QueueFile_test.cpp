#include "QueueFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "FailureMatcher.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::velmo::foldPercentSigns;
using brix::velmo::QueueFile;
using brix::velmo::Step;
using testing::ElementsAre;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::isFailure;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

// --- foldPercentSigns ---

TEST(FoldPercentSignsTest, PairBecomesOneAndAnyOtherStays) {
  const std::vector<std::pair<std::string, std::string>> rows{
      {"", ""},
      {"100%%", "100%"},
      {"100%", "100%"},
      {"%%%", "%%"},
      {"%%%%", "%%"},
      {"%%s", "%s"},
      {"date +%s", "date +%s"},
      {"%n%n%n%s%s%s%d%*d%1$s", "%n%n%n%s%s%s%d%*d%1$s"},
      {"%m", "%m"},
      {"%-%", "%-%"},
      {"% %", "% %"},
      {"a%%b%%c", "a%b%c"},
  };
  for (const auto& [contents, written] : rows) {
    EXPECT_EQ(written, foldPercentSigns(contents));
    EXPECT_EQ(written + "\n" + written + "\n", foldPercentSigns(contents + "\n" + contents + "\n"));
  }
}

TEST(FoldPercentSignsTest, SignsOnBothSidesOfALineEndAreNoPair) {
  EXPECT_EQ("a%\n%b\n", foldPercentSigns("a%\n%b\n"));
}

TEST(FoldPercentSignsTest, NulDoesNotEndTheText) {
  EXPECT_EQ(std::string("a\0%b", 4), foldPercentSigns(std::string("a\0%%b", 5)));
}

TEST(FoldPercentSignsTest, AnyTextIsFoldedFromItsStart) {
  std::mt19937 random(20261122);
  for (int i = 0; i < 20000; ++i) {
    std::string contents(random() % 30, ' ');
    for (char& character : contents) {
      character = random() % 4 == 0 ? 'a' : '%';
    }
    std::string folded;
    for (std::size_t at = 0; at < contents.size(); ++at) {
      folded += contents[at];
      at += contents.compare(at, 2, "%%") == 0 ? 1U : 0U;
    }
    ASSERT_EQ(folded, foldPercentSigns(contents)) << contents;
  }
}

// --- QueueFile ---

class QueueFileTest : public testing::Test {
 protected:
  QueueFileTest() {
    directory.makeDirectory("tmp");
    directory.makeDirectory("taskqueue");
  }

  const TemporaryDirectory directory;
  const FakeScope fakes;
  const std::string temporary = directory.path("tmp/name");
  const std::string queued = directory.path("taskqueue/name");
  const QueueFile file{directory.path("tmp"), directory.path().native(), "name"};
};

TEST_F(QueueFileTest, IsWrittenAsideWithPairsOfPercentSignsFolded) {
  EXPECT_EQ(std::nullopt, file.write("100%% done\n"));
  EXPECT_EQ("100% done\n", readFile(temporary));
  EXPECT_FALSE(exists(queued));
}

TEST_F(QueueFileTest, PartsFollowEachOtherAndEachIsFolded) {
  for (const std::size_t size : {0U, 100U, 100000U}) {
    const std::string padding(size, 'x');
    EXPECT_EQ(std::nullopt, file.writeParts("100%% %" + padding, "\n%%d%\n"));
    EXPECT_EQ("100% %" + padding + "\n%d%\n", readFile(temporary));
  }
}

TEST_F(QueueFileTest, LongContentsAreWrittenWhole) {
  const std::string contents(1000000, 'x');
  EXPECT_EQ(std::nullopt, file.write(contents));
  EXPECT_EQ(contents, readFile(temporary));
}

TEST_F(QueueFileTest, TemporaryFileThatCannotBeCreatedIsAFailure) {
  std::filesystem::remove(directory.path("tmp"));
  EXPECT_THAT(file.write("x"), isFailure(Step::WriteTemporaryFile, temporary, ENOENT));
}

TEST_F(QueueFileTest, DirectoryWithoutPermissionIsAFailure) {
  const UnprivilegedFiles unprivileged;
  EXPECT_THAT(file.write("x"), isFailure(Step::WriteTemporaryFile, temporary, EACCES));
}

TEST_F(QueueFileTest, DirectoryInPlaceOfTheTemporaryFileIsAFailureAndStays) {
  directory.makeDirectory("tmp/name");
  EXPECT_THAT(file.write("x"), isFailure(Step::WriteTemporaryFile, temporary, EISDIR));
  EXPECT_TRUE(exists(temporary));
}

TEST_F(QueueFileTest, NameThatIsTooLongForTheFileSystemIsAFailureThatNamesItWhole) {
  const std::string name(3000, 'n');
  const QueueFile longFile(directory.path("tmp"), directory.path().native(), name);
  EXPECT_THAT(longFile.write("x"),
              isFailure(Step::WriteTemporaryFile, directory.path("tmp/" + name), ENAMETOOLONG));
}

TEST_F(QueueFileTest, SlashInANameLeadsIntoAMissingDirectory) {
  const QueueFile nested(directory.path("tmp"), directory.path().native(), "a/b");
  EXPECT_THAT(nested.write("x"),
              isFailure(Step::WriteTemporaryFile, directory.path("tmp/a/b"), ENOENT));
}

TEST_F(QueueFileTest, FileThatCannotBeWrittenWholeIsAFailureAndIsRemoved) {
  std::filesystem::create_symlink("/dev/full", temporary);
  EXPECT_THAT(file.write("x"), isFailure(Step::WriteTemporaryFile, temporary, ENOSPC));
  EXPECT_FALSE(exists(temporary));
}

TEST_F(QueueFileTest, FailedCloseIsAFailureAndTheFileIsRemoved) {
  platform().fclose.setFake([](FILE* stream) {
    platform().fclose.real(stream);
    errno = EDQUOT;
    return EOF;
  });
  EXPECT_THAT(file.write("x"), isFailure(Step::WriteTemporaryFile, temporary, EDQUOT));
  platform().fclose.setFake(nullptr);
  EXPECT_FALSE(exists(temporary));
}

TEST_F(QueueFileTest, FileThatIsNotCreatedWithoutAnErrorNumberIsAFailureWithTheNumber0) {
  platform().fopen.setFake([](const char*, const char*) { return nullptr; });
  errno = EPERM;
  EXPECT_THAT(file.write("x"), isFailure(Step::WriteTemporaryFile, temporary, 0));
}

TEST_F(QueueFileTest, LinkPlantedInTheTemporaryDirectoryIsWrittenThrough) {
  const std::string victim = directory.writeFile("victim", "precious");
  std::filesystem::create_symlink(victim, temporary);
  EXPECT_EQ(std::nullopt, file.write("true\n"));
  EXPECT_EQ("true\n", readFile(victim));
}

TEST_F(QueueFileTest, FilePlantedInTheTemporaryDirectoryBecomesTheTaskWithItsPermissions) {
  directory.writeFile("tmp/name", "");
  chmod(temporary.c_str(), 0666);
  struct stat before {};
  ASSERT_EQ(0, stat(temporary.c_str(), &before));
  EXPECT_EQ(std::nullopt, file.write("true\n"));
  EXPECT_EQ(std::nullopt, file.move());
  struct stat after {};
  ASSERT_EQ(0, stat(queued.c_str(), &after));
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mode, after.st_mode);
}

// --- move ---

TEST_F(QueueFileTest, MoveLooksForTheNameInTheQueueAndRenames) {
  std::vector<std::string> steps;
  platform().access.setFake([&steps](const char* path, int mode) {
    EXPECT_EQ(F_OK, mode);
    steps.push_back(std::string("access ") + path);
    return platform().access.real(path, mode);
  });
  platform().rename.setFake([&steps](const char* from, const char* to) {
    steps.push_back(std::string("rename ") + from + " " + to);
    return platform().rename.real(from, to);
  });
  EXPECT_EQ(std::nullopt, file.write("true\n"));
  EXPECT_EQ(std::nullopt, file.move());
  EXPECT_THAT(steps, ElementsAre("access " + queued, "rename " + temporary + " " + queued));
  EXPECT_EQ("true\n", readFile(queued));
  EXPECT_FALSE(exists(temporary));
}

TEST_F(QueueFileTest, NameThatTheQueueHasIsAFailureAndBothFilesStay) {
  directory.writeFile("taskqueue/name", "first\n");
  EXPECT_EQ(std::nullopt, file.write("second\n"));
  EXPECT_THAT(file.move(), isFailure(Step::FindFreeName, queued, EEXIST));
  EXPECT_EQ("first\n", readFile(queued));
  EXPECT_EQ("second\n", readFile(temporary));
}

TEST_F(QueueFileTest, FileThatArrivesBetweenTestAndMoveIsReplaced) {
  platform().access.setFake([this](const char* path, int mode) {
    const int result = platform().access.real(path, mode);
    directory.writeFile("taskqueue/name", "in between\n");
    return result;
  });
  EXPECT_EQ(std::nullopt, file.write("true\n"));
  EXPECT_EQ(std::nullopt, file.move());
  EXPECT_EQ("true\n", readFile(queued));
}

TEST_F(QueueFileTest, MissingQueueIsAFailureAndTheTemporaryFileStays) {
  std::filesystem::remove(directory.path("taskqueue"));
  EXPECT_EQ(std::nullopt, file.write("true\n"));
  EXPECT_THAT(file.move(), isFailure(Step::MoveIntoQueue, temporary, ENOENT, queued));
  EXPECT_EQ("true\n", readFile(temporary));
}

TEST_F(QueueFileTest, MoveAcrossFileSystemsIsAFailureAndNothingIsCopied) {
  platform().rename.setFake([](const char*, const char*) {
    errno = EXDEV;
    return -1;
  });
  EXPECT_EQ(std::nullopt, file.write("true\n"));
  EXPECT_THAT(file.move(), isFailure(Step::MoveIntoQueue, temporary, EXDEV, queued));
  EXPECT_EQ("true\n", readFile(temporary));
  EXPECT_FALSE(exists(queued));
}

}  // namespace
