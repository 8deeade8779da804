#include "NewFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using testing::IsEmpty;
using velmo::client::NewFile;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::namesIn;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::TemporaryDirectory;

class NewFileTest : public testing::Test {
 protected:
  const TemporaryDirectory directory;
  const std::string path = directory.path("file");
  const FakeScope fakes;
};

TEST_F(NewFileTest, FileThatIsKeptStaysWithItsContents) {
  const std::size_t before = openDescriptors();
  {
    NewFile file(path);
    EXPECT_EQ(0, file.create(0600));
    EXPECT_EQ(0, file.write("contents", false));
    EXPECT_EQ(0, file.close());
    file.keep();
  }
  EXPECT_EQ("contents", readFile(path));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(NewFileTest, FileThatIsNotKeptIsRemovedOpenOrClosed) {
  const std::size_t before = openDescriptors();
  for (const bool isClosed : {false, true}) {
    NewFile file(path);
    EXPECT_EQ(0, file.create(0600));
    EXPECT_EQ(0, file.write("contents", false));
    EXPECT_EQ(0, isClosed ? file.close() : 0);
  }
  EXPECT_THAT(namesIn(directory.path()), IsEmpty());
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(NewFileTest, FileThatWasNeverCreatedRemovesNothing) {
  directory.writeFile("file", "another");
  { const NewFile file(path); }
  EXPECT_EQ("another", readFile(path));
}

TEST_F(NewFileTest, PathThatIsTakenIsEexistAndStays) {
  directory.writeFile("file", "another");
  {
    NewFile file(path);
    EXPECT_EQ(EEXIST, file.create(0600));
  }
  EXPECT_EQ("another", readFile(path));
}

TEST_F(NewFileTest, LinkIsNotFollowed) {
  std::filesystem::create_symlink(directory.path("target"), path);
  {
    NewFile file(path);
    EXPECT_EQ(EEXIST, file.create(0600));
  }
  EXPECT_FALSE(exists(directory.path("target")));
  EXPECT_TRUE(exists(path));
}

TEST_F(NewFileTest, ModeIsLessTheUmask) {
  const mode_t before = umask(0027);
  NewFile file(path);
  EXPECT_EQ(0, file.create(0666));
  umask(before);
  struct stat status {};
  ASSERT_EQ(0, stat(path.c_str(), &status));
  EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST_F(NewFileTest, OnlyADurableWriteIsSynced) {
  int syncs = 0;
  platform().fsync.setFake([&syncs](int) {
    ++syncs;
    errno = EIO;
    return -1;
  });
  NewFile file(path);
  EXPECT_EQ(0, file.create(0600));
  EXPECT_EQ(0, file.write("1", false));
  EXPECT_EQ(0, syncs);
  EXPECT_EQ(EIO, file.write("2", true));
  EXPECT_EQ(1, syncs);
}

TEST_F(NewFileTest, FailedCloseIsItsErrorNumber) {
  platform().close.setFake([](int descriptor) {
    platform().close.real(descriptor);
    errno = EDQUOT;
    return -1;
  });
  NewFile file(path);
  EXPECT_EQ(0, file.create(0600));
  EXPECT_EQ(EDQUOT, file.close());
}

TEST_F(NewFileTest, FileOfAnotherProcessInItsPlaceIsNotRemoved) {
  {
    NewFile file(path);
    EXPECT_EQ(0, file.create(0600));
    std::filesystem::remove(path);
    directory.writeFile("file", "another");
  }
  EXPECT_EQ("another", readFile(path));
}

}  // namespace
