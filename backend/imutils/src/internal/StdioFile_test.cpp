#include "StdioFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::InputFile;
using brix::imutils::WholeFile;
using brix::imutils::writeWholeFile;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::TemporaryDirectory;

class StdioFileTest : public testing::Test {
 protected:
  const TemporaryDirectory directory;
  const std::string file = directory.path("file");
  const FakeScope fakes;
};

TEST_F(StdioFileTest, InputFileReadsFromTheStart) {
  directory.writeFile("file", "ab");
  const InputFile input(file.c_str());
  ASSERT_TRUE(input.isOpen());
  EXPECT_EQ('a', std::getc(input.stream()));
  EXPECT_EQ('b', std::getc(input.stream()));
  EXPECT_EQ(EOF, std::getc(input.stream()));
}

TEST_F(StdioFileTest, InputFileThatIsMissingIsNotOpen) {
  errno = 0;
  const InputFile input(file.c_str());
  EXPECT_EQ(ENOENT, errno);
  EXPECT_FALSE(input.isOpen());
  EXPECT_EQ(nullptr, input.stream());
}

TEST_F(StdioFileTest, InputFileIsClosedWithTheObject) {
  directory.writeFile("file", "ab");
  const std::size_t before = openDescriptors();
  {
    const InputFile input(file.c_str());
    EXPECT_TRUE(input.isOpen());
    EXPECT_EQ(before + 1, openDescriptors());
  }
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(StdioFileTest, WritesEveryByte) {
  const std::string text = std::string("a\0%s\n", 5) + std::string(100000, 'x');
  EXPECT_EQ(std::nullopt, writeWholeFile(file, text));
  EXPECT_EQ(text, readFile(file));
}

TEST_F(StdioFileTest, TextsOfAnySizeFollowEachOther) {
  const std::string longer(100000, 'x');
  WholeFile whole(file.c_str());
  for (const std::string_view text : {std::string_view("a"), std::string_view(),
                                      std::string_view(longer), std::string_view("b\n")}) {
    whole.write(text);
  }
  EXPECT_EQ(std::nullopt, whole.finish());
  EXPECT_EQ("a" + longer + "b\n", readFile(file));
}

TEST_F(StdioFileTest, FileThatIsNotFinishedIsRemoved) {
  const std::size_t before = openDescriptors();
  {
    WholeFile whole(file.c_str());
    whole.write("text");
    EXPECT_TRUE(exists(file));
  }
  EXPECT_FALSE(exists(file));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(StdioFileTest, NothingIsWrittenAfterAFailedWrite) {
  std::filesystem::create_symlink("/dev/full", file);
  WholeFile whole(file.c_str());
  whole.write(std::string(100000, 'x'));
  std::filesystem::remove(file);
  directory.writeFile("file", "of somebody else");
  errno = 0;
  whole.write("text");
  EXPECT_EQ(0, errno);
  EXPECT_EQ(ENOSPC, whole.finish());
}

TEST_F(StdioFileTest, EmptyTextIsAnEmptyFile) {
  EXPECT_EQ(std::nullopt, writeWholeFile(file, ""));
  EXPECT_EQ("", readFile(file));
}

TEST_F(StdioFileTest, ReplacesWhatStoodThere) {
  directory.writeFile("file", "something longer");
  EXPECT_EQ(std::nullopt, writeWholeFile(file, "new"));
  EXPECT_EQ("new", readFile(file));
}

TEST_F(StdioFileTest, FileThatCannotBeOpenedGivesItsError) {
  EXPECT_EQ(ENOENT, writeWholeFile(directory.path("missing/file"), "text"));
  EXPECT_EQ(EISDIR, writeWholeFile(directory.path(), "text"));
  EXPECT_TRUE(exists(directory.path()));
}

TEST_F(StdioFileTest, FullDeviceGivesItsErrorAndTheFileIsRemoved) {
  std::filesystem::create_symlink("/dev/full", file);
  const std::size_t before = openDescriptors();
  EXPECT_EQ(ENOSPC, writeWholeFile(file, "text"));
  EXPECT_FALSE(exists(file));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(StdioFileTest, WriteCutShortGivesItsErrorAndTheFileIsRemoved) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
  const rlimit small{10000, limit.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  const std::optional<int> error = writeWholeFile(file, std::string(20000, 'x'));
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(EFBIG, error);
  EXPECT_FALSE(exists(file));
}

TEST_F(StdioFileTest, FailedCloseGivesItsErrorAndTheFileIsRemoved) {
  platform().fclose.setFake([](FILE* stream) {
    platform().fclose.real(stream);
    errno = EDQUOT;
    return EOF;
  });
  EXPECT_EQ(EDQUOT, writeWholeFile(file, "text"));
  EXPECT_FALSE(exists(file));
}

TEST_F(StdioFileTest, FailedCloseWithoutAnErrorNumberIsAFailureWithTheNumber0) {
  platform().fclose.setFake([](FILE* stream) {
    platform().fclose.real(stream);
    errno = 0;
    return EOF;
  });
  EXPECT_EQ(std::optional<int>(0), writeWholeFile(file, "text"));
  EXPECT_FALSE(exists(file));
}

TEST_F(StdioFileTest, FailedOpenWithoutAnErrorNumberIsAFailureWithTheNumber0) {
  platform().fopen.setFake([](const char* /*path*/, const char* /*mode*/) { return nullptr; });
  errno = EPERM;
  EXPECT_EQ(std::optional<int>(0), writeWholeFile(file, "text"));
}

TEST_F(StdioFileTest, ErrorOfTheWriteCountsNotThatOfTheClose) {
  std::filesystem::create_symlink("/dev/full", file);
  platform().fclose.setFake([](FILE* stream) {
    platform().fclose.real(stream);
    errno = EDQUOT;
    return EOF;
  });
  EXPECT_EQ(ENOSPC, writeWholeFile(file, "text"));
}

TEST_F(StdioFileTest, ErrorLeftByAnEarlierCallDoesNotCount) {
  errno = EPERM;
  EXPECT_EQ(std::nullopt, writeWholeFile(file, "text"));
}

}  // namespace
