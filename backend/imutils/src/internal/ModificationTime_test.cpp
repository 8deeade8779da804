#include "ModificationTime.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::modificationTime;
using velmo::test::FakeScope;
using velmo::test::platform;
using velmo::test::setFileTime;

class ModificationTimeTest : public testing::Test {
 protected:
  const velmo::test::TemporaryDirectory directory;
  const std::string file = directory.path("file");
  const FakeScope fakes;
};

TEST_F(ModificationTimeTest, IsThatOfTheFileAlsoBeforeTheEpoch) {
  directory.writeFile("file", "");
  for (const time_t time : {time_t{1741007469}, time_t{0}, time_t{-5}}) {
    setFileTime(file.c_str(), time);
    EXPECT_EQ(time, modificationTime(file));
  }
}

TEST_F(ModificationTimeTest, DirectoryHasOne) {
  std::filesystem::create_directory(file);
  setFileTime(file.c_str(), 17);
  EXPECT_EQ(17, modificationTime(file));
}

TEST_F(ModificationTimeTest, LinkHasTheTimeOfItsTarget) {
  directory.writeFile("target", "");
  setFileTime(directory.path("target").c_str(), 17);
  std::filesystem::create_symlink("target", file);
  EXPECT_EQ(17, modificationTime(file));
}

TEST_F(ModificationTimeTest, FileThatDoesNotExistHasNone) {
  EXPECT_EQ(std::nullopt, modificationTime(file));
  EXPECT_EQ(std::nullopt, modificationTime(""));
  std::filesystem::create_symlink("nowhere", file);
  EXPECT_EQ(std::nullopt, modificationTime(file));
}

TEST_F(ModificationTimeTest, FileThatCannotBeExaminedHasNone) {
  directory.writeFile("file", "");
  platform().stat.setFake([](const char*, struct stat*) {
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(std::nullopt, modificationTime(file));
}

TEST_F(ModificationTimeTest, CostsOneLookAtTheFile) {
  std::vector<std::string> examined;
  platform().stat.setFake([&examined](const char* path, struct stat* status) {
    examined.emplace_back(path);
    return platform().stat.real(path, status);
  });
  modificationTime(file);
  EXPECT_EQ(std::vector<std::string>{file}, examined);
}

}  // namespace
