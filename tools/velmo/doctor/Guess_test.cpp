#include "Guess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

class GuessTest : public testing::Test {
 protected:
  std::string guess(const char* variable) const {
    return guessOf(*placeOf(variable), settings).value_or("none");
  }

  test::TemporaryDirectory directory;
  client::Settings settings;
};

TEST_F(GuessTest, DirectoryBesideAnotherIsFound) {
  settings.lockVar.value = directory.makeDirectory("lock");
  const std::string data = directory.makeDirectory("data");
  EXPECT_EQ(data, guess("DATA"));
}

TEST_F(GuessTest, SlashAtTheEndOfAnotherDoesNotMatter) {
  settings.lockVar.value = directory.makeDirectory("lock") + "/";
  const std::string data = directory.makeDirectory("data");
  EXPECT_EQ(data, guess("DATA"));
}

TEST_F(GuessTest, DirectoryThatDoesNotExistIsNoGuess) {
  settings.lockVar.value = directory.makeDirectory("lock");
  directory.writeFile("data", "");
  EXPECT_EQ("none", guess("DATA"));
  EXPECT_EQ("none", guess("VAR"));
}

TEST_F(GuessTest, OtherNamesAreNoHint) {
  settings.lockVar.value = directory.makeDirectory("locks");
  directory.makeDirectory("data");
  EXPECT_EQ("none", guess("DATA"));
}

TEST_F(GuessTest, RelativePathIsNoHint) {
  settings.lockVar.value = "lock";
  EXPECT_EQ("none", guess("DATA"));
}

TEST_F(GuessTest, KeyIsNotGuessed) {
  settings.lockVar.value = directory.makeDirectory("lock");
  EXPECT_EQ("none", guess("SHARED_VELMO_TASKID"));
}

TEST_F(GuessTest, MissingDirectoryCanBeBesideOthers) {
  settings.var.value = directory.makeDirectory("var");
  settings.lockVar.value = directory.path("lock");
  EXPECT_TRUE(isBesideOthers(*placeOf("LOCK_VAR"), settings));
  settings.lockVar.value = directory.path("lokc");
  EXPECT_FALSE(isBesideOthers(*placeOf("LOCK_VAR"), settings));
  settings.lockVar.value = directory.path("other/lock");
  EXPECT_FALSE(isBesideOthers(*placeOf("LOCK_VAR"), settings));
}

TEST_F(GuessTest, TwoMissingDirectoriesAreNoHintToEachOther) {
  settings.var.value = directory.path("var");
  settings.lockVar.value = directory.path("lock");
  EXPECT_FALSE(isBesideOthers(*placeOf("LOCK_VAR"), settings));
}

TEST_F(GuessTest, AbsolutePathHasNoDotsAndNoSlashAtItsEnd) {
  const std::string here = std::filesystem::current_path().string();
  EXPECT_EQ(here + "/tmp", absolutePath("./a/../tmp/"));
  EXPECT_EQ(here, absolutePath("."));
}

}  // namespace
}  // namespace velmo::cli
