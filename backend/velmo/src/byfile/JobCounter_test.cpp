#include "JobCounter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "FailureMatcher.h"
#include "IMException.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::IMIOException;
using brix::velmo::JobCounter;
using brix::velmo::readServerIdentity;
using brix::velmo::ServerIdentity;
using brix::velmo::Step;
using testing::ElementsAre;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::isFailure;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::TemporaryDirectory;

// --- JobCounter ---

class JobCounterTest : public testing::Test {
 protected:
  JobCounterTest() {
    directory.makeDirectory("velmo");
  }

  JobCounter::Next next() const {
    return JobCounter::Reader(counter).next();
  }

  void write(const std::string& contents) const {
    directory.writeFile("velmo/jobid", contents);
  }

  const TemporaryDirectory directory;
  const FakeScope fakes;
  const JobCounter counter{directory.path().native()};
  const std::string copy = directory.path("velmo/jobid_tmp");
};

TEST_F(JobCounterTest, IsTheFileJobidInTheFolderVelmo) {
  EXPECT_EQ("/data/velmo/jobid", JobCounter("/data").file());
  EXPECT_EQ("/velmo/jobid", JobCounter("").file());
}

TEST_F(JobCounterTest, LongPathIsNotCut) {
  const std::string longDirectory(3000, 'd');
  EXPECT_EQ(longDirectory + "/velmo/jobid", JobCounter(longDirectory).file());
  EXPECT_THAT(JobCounter(longDirectory).save(1),
              isFailure(Step::WriteJobCounter, longDirectory + "/velmo/jobid_tmp", ENAMETOOLONG));
}

TEST_F(JobCounterTest, MachineWithoutACounterFileBeginsWith0) {
  EXPECT_EQ(0, next().number);
  EXPECT_EQ(std::nullopt, next().failure);
}

TEST_F(JobCounterTest, NumberFollowsTheOneInTheFile) {
  struct Row {
    std::string contents;
    int number;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"17", 18, "plain"},
      {"17\n", 18, "with a line end"},
      {"  17 x", 18, "among other text"},
      {"-7", -6, "no lower bound"},
      {"-1", 0, "up to 0"},
      {"999998", 999999, "the last number"},
      {"999999", 0, "starts again"},
      {"1000000", 0, "beyond the last number"},
      {"2147483647", 0, "largest int"},
      {"2147483648", -2147483647, "cut to 32 bits"},
      {"99999999999999999999", 0, "reads as -1"},
  };
  for (const Row& row : rows) {
    write(row.contents);
    EXPECT_EQ(row.number, next().number) << row.reason;
    EXPECT_EQ(std::nullopt, next().failure) << row.reason;
  }
}

TEST_F(JobCounterTest, FileThatIsNotANumberIsAFailureAndBeginsWith0) {
  for (const std::string contents : {"", "abc", "-", " \n"}) {
    write(contents);
    EXPECT_EQ(0, next().number) << contents;
    EXPECT_THAT(next().failure, isFailure(Step::ParseJobCounter, "")) << contents;
  }
}

TEST_F(JobCounterTest, FileThatCannotBeOpenedStartsTheNumbersAgainWithoutAFailure) {
  write("41");
  for (const int error : {EACCES, EMFILE, ENOMEM}) {
    platform().fopen.setFake([error](const char*, const char*) {
      errno = error;
      return nullptr;
    });
    EXPECT_EQ(0, next().number) << error;
    EXPECT_EQ(std::nullopt, next().failure) << error;
  }
}

TEST_F(JobCounterTest, DirectoryInPlaceOfTheFileIsAFailureAndSurvivesASave) {
  directory.makeDirectory("velmo/jobid");
  EXPECT_EQ(std::nullopt, counter.save(0));
  EXPECT_EQ(0, next().number);
  EXPECT_THAT(next().failure, isFailure(Step::ParseJobCounter, ""));
}

TEST_F(JobCounterTest, FileIsOpenFromTheReadersConstructionOn) {
  write("17");
  const JobCounter::Reader reader(counter);
  std::filesystem::remove(counter.file());
  EXPECT_EQ(18, reader.next().number);
}

// --- save ---

TEST_F(JobCounterTest, SavedNumberIsTheWholeFileInDecimal) {
  for (const int number : {0, 18, 999999, -6, INT_MIN}) {
    EXPECT_EQ(std::nullopt, counter.save(number));
    EXPECT_EQ(std::to_string(number), readFile(counter.file()));
  }
  EXPECT_FALSE(exists(copy));
}

TEST_F(JobCounterTest, NumberIsWrittenAsideAndMovedOverTheFile) {
  write("17");
  std::vector<std::string> steps;
  platform().fopen.setFake([&steps](const char* path, const char* mode) {
    steps.push_back(std::string(mode) + " " + path);
    return platform().fopen.real(path, mode);
  });
  platform().rename.setFake([&](const char* from, const char* to) {
    EXPECT_EQ("18", readFile(copy));
    EXPECT_EQ("17", readFile(counter.file()));
    steps.push_back(std::string(from) + " to " + to);
    return platform().rename.real(from, to);
  });
  EXPECT_EQ(std::nullopt, counter.save(18));
  EXPECT_THAT(steps, testing::IsSupersetOf({"wb " + copy, copy + " to " + counter.file()}));
}

TEST_F(JobCounterTest, FailedMoveGoesUnnoticedAndTheFileStays) {
  write("17");
  platform().rename.setFake([](const char*, const char*) {
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(std::nullopt, counter.save(18));
  EXPECT_EQ(18, next().number);
  EXPECT_EQ("17", readFile(counter.file()));
  EXPECT_EQ("18", readFile(copy));
}

TEST_F(JobCounterTest, CopyThatCannotBeCreatedIsAFailureAndTheFileStays) {
  write("17");
  directory.makeDirectory("velmo/jobid_tmp");
  EXPECT_THAT(counter.save(18), isFailure(Step::WriteJobCounter, copy, EISDIR));
  EXPECT_EQ("17", readFile(counter.file()));
}

TEST_F(JobCounterTest, MissingDirectoryIsAFailure) {
  const JobCounter elsewhere(directory.path("missing"));
  EXPECT_THAT(elsewhere.save(0),
              isFailure(Step::WriteJobCounter, directory.path("missing/velmo/jobid_tmp"), ENOENT));
}

TEST_F(JobCounterTest, FullDiskIsAFailureRemovesTheCopyAndTheFileStays) {
  write("17");
  std::filesystem::create_symlink("/dev/full", copy);
  EXPECT_THAT(counter.save(18), isFailure(Step::WriteJobCounter, copy, ENOSPC));
  EXPECT_EQ("17", readFile(counter.file()));
  EXPECT_FALSE(exists(copy));
}

TEST_F(JobCounterTest, CopyThatIsNotCreatedWithoutAnErrorNumberIsAFailureWithTheNumber0) {
  platform().fopen.setFake([](const char*, const char*) { return nullptr; });
  errno = EPERM;
  EXPECT_THAT(counter.save(18), isFailure(Step::WriteJobCounter, copy, 0));
}

// --- readServerIdentity ---

class ServerIdentityTest : public testing::Test {
 protected:
  ServerIdentity read(const std::string& contents) const {
    directory.writeFile("serverid.cfg", contents);
    return readServerIdentity(directory.path().native());
  }

  const TemporaryDirectory directory;
  const FakeScope fakes;
};

TEST_F(ServerIdentityTest, IsTheValueOfSelfServerId) {
  EXPECT_EQ("node2", read("OTHER=x\nSELF_SERVER_ID=node2\n").name);
  EXPECT_EQ("node3", read("SELF_SERVER_ID = node3 \n").name);
}

TEST_F(ServerIdentityTest, EmptyValueIsAnIdentity) {
  EXPECT_EQ("", read("SELF_SERVER_ID=\n").name);
}

TEST_F(ServerIdentityTest, FileWithoutTheKeyGivesNone) {
  EXPECT_EQ(std::nullopt, read("self_server_id=node2\n").name);
  EXPECT_EQ(std::nullopt, read("").failure);
}

TEST_F(ServerIdentityTest, MissingFileGivesNoneAndIsNoFailure) {
  const ServerIdentity identity = readServerIdentity(directory.path("missing"));
  EXPECT_EQ(std::nullopt, identity.name);
  EXPECT_EQ(std::nullopt, identity.failure);
}

TEST_F(ServerIdentityTest, ExceptionIsAFailureWithItsMessage) {
  std::vector<std::string> opened;
  platform().fopen.setFake([&opened](const char* path, const char*) -> FILE* {
    opened.emplace_back(path);
    throw IMIOException(5, "no reading today");
  });
  const ServerIdentity identity = readServerIdentity("/conf");
  EXPECT_THAT(opened, ElementsAre("/conf/serverid.cfg"));
  EXPECT_EQ(std::nullopt, identity.name);
  EXPECT_THAT(identity.failure, isFailure(Step::ReadServerIdentity, "no reading today"));
}

TEST_F(ServerIdentityTest, OtherExceptionsPass) {
  platform().fopen.setFake([](const char*, const char*) -> FILE* { throw std::bad_alloc(); });
  EXPECT_THROW(readServerIdentity("/conf"), std::bad_alloc);
}

}  // namespace
