#include "JobFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::velmo::createJobFile;
using brix::velmo::JobFileFields;
using brix::velmo::readJobFile;
using brix::velmo::removeJobFile;
using brix::velmo::touchJobFile;
using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::fileTime;
using velmo::test::MovedClock;
using velmo::test::MovedFileTimes;
using velmo::test::namesIn;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::setFileTime;
using velmo::test::TemporaryDirectory;

class JobFileTest : public testing::Test {
 protected:
  // The fields of a file with these contents.
  JobFileFields read(const std::string& contents) const {
    directory.writeFile("job", contents);
    const std::optional<JobFileFields> fields = readJobFile(file);
    EXPECT_TRUE(fields);
    return fields.value_or(JobFileFields());
  }

  const TemporaryDirectory directory;
  const std::string file = directory.path("job");
  const FakeScope fakes;
};

// --- writing ---

TEST_F(JobFileTest, FileHasALineForEachFieldInOrder) {
  createJobFile(file, "node2-J17", "some user", "nightly", 50);
  EXPECT_EQ("id=\"node2-J17\"\nuser=\"some user\"\nname=\"nightly\"\npriority=\"50\"\n",
            readFile(file));
}

TEST_F(JobFileTest, FileThatExistsStaysAsItIs) {
  directory.writeFile("job", "anything");
  createJobFile(file, "J1", "", "", 0);
  EXPECT_EQ("anything", readFile(file));
}

TEST_F(JobFileTest, EmptyUserAndNameHaveNoLine) {
  struct Row {
    std::string user;
    std::string name;
    std::string contents;
  };
  const std::vector<Row> rows{
      {"", "", "id=\"J1\"\npriority=\"0\"\n"},
      {"u", "", "id=\"J1\"\nuser=\"u\"\npriority=\"0\"\n"},
      {"", "n", "id=\"J1\"\nname=\"n\"\npriority=\"0\"\n"},
  };
  for (const Row& row : rows) {
    createJobFile(file, "J1", row.user, row.name, 0);
    EXPECT_EQ(row.contents, readFile(file));
    std::filesystem::remove(file);
  }
}

TEST_F(JobFileTest, EmptyIdentifierHasItsLine) {
  createJobFile(file, "", "", "", INT_MIN);
  EXPECT_EQ("id=\"\"\npriority=\"-2147483648\"\n", readFile(file));
}

TEST_F(JobFileTest, NothingInTheFileIsEscaped) {
  createJobFile(file, "a\"b", "%s\\n", "line\nid=\"x\"", 0);
  EXPECT_EQ("id=\"a\"b\"\nuser=\"%s\\n\"\nname=\"line\nid=\"x\"\"\npriority=\"0\"\n",
            readFile(file));
}

TEST_F(JobFileTest, NulEndsATextInTheFile) {
  createJobFile(file, std::string("a\0b", 3), std::string("\0u", 2), "", 0);
  EXPECT_EQ("id=\"a\"\nuser=\"\"\npriority=\"0\"\n", readFile(file));
}

TEST_F(JobFileTest, LongTextsAreWrittenWhole) {
  const std::string text(100000, 'x');
  createJobFile(file, text, "", "", 0);
  EXPECT_EQ("id=\"" + text + "\"\npriority=\"0\"\n", readFile(file));
}

TEST_F(JobFileTest, FileIsOpenedExclusivelyAndClosed) {
  std::vector<std::string> modes;
  platform().fopen.setFake([&](const char* path, const char* mode) {
    EXPECT_EQ(file, path);
    modes.emplace_back(mode);
    return platform().fopen.real(path, mode);
  });
  const std::size_t before = openDescriptors();
  createJobFile(file, "J1", "", "", 0);
  EXPECT_THAT(modes, ElementsAre("wx"));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(JobFileTest, FileIsForAllLessTheUmask) {
  for (const auto& [mask, mode] : {std::pair<mode_t, mode_t>{0, 0666}, {022, 0644}, {077, 0600}}) {
    const mode_t before = umask(mask);
    createJobFile(file, "J1", "", "", 0);
    umask(before);
    struct stat status {};
    ASSERT_EQ(0, stat(file.c_str(), &status));
    EXPECT_EQ(mode, status.st_mode & 07777U);
    std::filesystem::remove(file);
  }
}

TEST_F(JobFileTest, DanglingLinkCountsAsAFileThatExists) {
  std::filesystem::create_symlink(directory.path("elsewhere"), file);
  createJobFile(file, "J1", "", "", 0);
  EXPECT_THAT(namesIn(directory.path()), ElementsAre("job"));
}

TEST_F(JobFileTest, FileThatCannotBeCreatedLeavesNoTrace) {
  createJobFile(directory.path("missing/job"), "J1", "", "", 0);
  createJobFile("", "J1", "", "", 0);
  EXPECT_THAT(namesIn(directory.path()), IsEmpty());
}

// Truncated after "J1", the file would name another job.
TEST_F(JobFileTest, FileThatCannotBeWrittenWholeIsRemovedAgain) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
  const std::size_t before = openDescriptors();
  for (const std::string& user : {std::string(), std::string(100000, 'u')}) {
    const rlimit small{6, limit.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    createJobFile(file, "J17", user, "", 50);
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_THAT(namesIn(directory.path()), IsEmpty());
  }
  EXPECT_EQ(before, openDescriptors());
}

// As on a disk that is full for a moment.
TEST_F(JobFileTest, FileWithAFailedWriteIsRemovedEvenIfTheCloseSucceeds) {
  directory.writeFile("job", "");
  platform().fopen.setFake([](const char*, const char*) -> FILE* {
    static bool hasFailed = false;
    cookie_io_functions_t stream{};
    stream.write = [](void*, const char*, std::size_t size) -> ssize_t {
      return std::exchange(hasFailed, true) ? static_cast<ssize_t>(size) : 0;
    };
    return fopencookie(nullptr, "w", stream);
  });
  createJobFile(file, "J17", std::string(100000, 'u'), "", 50);
  EXPECT_FALSE(exists(file));
}

TEST_F(JobFileTest, FileWhoseCloseFailsIsRemovedAgain) {
  platform().fclose.setFake([](FILE* stream) {
    platform().fclose.real(stream);
    return EOF;
  });
  createJobFile(file, "J17", "", "", 50);
  EXPECT_THAT(namesIn(directory.path()), IsEmpty());
}

// --- reading ---

TEST_F(JobFileTest, FileThatCannotBeOpenedGivesNothing) {
  EXPECT_FALSE(readJobFile(file));
  EXPECT_FALSE(readJobFile(""));
}

TEST_F(JobFileTest, FileThatWasWrittenReadsBack) {
  createJobFile(file, "node2-J17", "some user", "nightly", -50);
  const JobFileFields fields = readJobFile(file).value();
  EXPECT_EQ("node2-J17", fields.id);
  EXPECT_EQ("some user", fields.user);
  EXPECT_EQ("nightly", fields.name);
  EXPECT_EQ(-50, fields.priority);
}

TEST_F(JobFileTest, FileIsOpenedForReadingAndClosed) {
  directory.writeFile("job", "id=\"x\"\n");
  std::vector<std::string> modes;
  platform().fopen.setFake([&modes](const char* path, const char* mode) {
    modes.emplace_back(mode);
    return platform().fopen.real(path, mode);
  });
  const std::size_t before = openDescriptors();
  EXPECT_EQ("x", readJobFile(file)->id);
  EXPECT_THAT(modes, ElementsAre("r"));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(JobFileTest, EmptyFileAndDirectoryHaveNoFields) {
  EXPECT_EQ("", read("").id);
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  EXPECT_EQ("", readJobFile(file).value().id);
  EXPECT_EQ(0, readJobFile(file).value().priority);
}

TEST_F(JobFileTest, PieceOf255CharactersOfALongLineCountsAsALine) {
  struct Row {
    std::string contents;
    std::string id;
    std::string reason;
  };
  const std::vector<Row> rows{
      {std::string(255, '#') + "id=\"x\"\n", "x", "the second piece begins with the key"},
      {std::string(254, '#') + "id=\"x\"\n", "", "one short: the key is cut"},
      {std::string(256, '#') + "id=\"x\"\n", "", "one more: the key has something in front"},
      {std::string(510, '#') + "id=\"x\"\n", "x", "the third piece"},
      {std::string(254, '#') + "\nid=\"x\"\n", "x", "254 characters and a line end are one piece"},
      {std::string(255, '#') + "\nid=\"x\"\n", "x", "the line end alone is a piece"},
      {"id=\"" + std::string(300, 'x') + "\"\n", std::string(251, 'x'),
       "a value is cut with its piece"},
      {"id=\"" + std::string(251, 'x') + "id=\"y\"\n", "y", "and the next piece may replace it"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.id, read(row.contents).id) << row.reason;
  }
}

TEST_F(JobFileTest, NulEndsItsPieceOnly) {
  const JobFileFields fields = read(std::string("id=\"a\0b\"\nuser=\"u\"\n", 18));
  EXPECT_EQ("a", fields.id);
  EXPECT_EQ("u", fields.user);
}

TEST_F(JobFileTest, FieldWithoutAValueTakesTheLastOneBeforeItInTheFile) {
  const JobFileFields fields = read("id=\"x\"\nnoise\nuser=\"v\"\nname=\"\"\n");
  EXPECT_EQ("v", fields.name);
  EXPECT_EQ("", read("user=\"\"\nid=\"y\"\n").user) << "of another file";
}

// --- times ---

TEST_F(JobFileTest, TouchSetsTheTimesToTheKernelsNow) {
  const MovedClock clock(1741007469);
  const MovedFileTimes fileTimes(clock);
  directory.writeFile("job", "");
  setFileTime(file.c_str(), 5);
  std::vector<std::string> touched;
  platform().utime.setFake([&](const char* path, const utimbuf* times) {
    touched.emplace_back(path);
    EXPECT_EQ(nullptr, times);
    return fileTimes.touch(path);
  });
  touchJobFile(file);
  EXPECT_THAT(touched, ElementsAre(file));
  EXPECT_EQ(1741007469, fileTime(file.c_str()));
}

TEST_F(JobFileTest, TouchDoesNotCreateTheFile) {
  touchJobFile(file);
  EXPECT_FALSE(exists(file));
}

// --- removing ---

TEST_F(JobFileTest, RemovedFileIsGoneAndFailuresAreNotReported) {
  directory.writeFile("job", "");
  removeJobFile(file);
  EXPECT_FALSE(exists(file));
  removeJobFile(file);
  std::filesystem::create_directory(file);
  removeJobFile(file);
  EXPECT_TRUE(exists(file)) << "a directory stays";
}

}  // namespace
