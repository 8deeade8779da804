#include "JobCommand.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Failure.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

TEST(JobDirectoryTest, AbsolutePathIsKept) {
  EXPECT_EQ("/a/b", jobDirectory("/a/b", {"DATA", ""}));
}

TEST(JobDirectoryTest, RelativePathBeginsInTheCurrentDirectory) {
  EXPECT_EQ(std::filesystem::current_path().string() + "/jobs",
            jobDirectory("jobs", {"DATA", "/data"}));
}

TEST(JobDirectoryTest, DefaultIsTheDirectoryInDataIfItExists) {
  const test::TemporaryDirectory directory;
  const std::string jobs = directory.makeDirectory("velmo/jobs");
  EXPECT_EQ(jobs, jobDirectory("", {"DATA", directory.path().string()}));
}

TEST(JobDirectoryTest, WithoutADefaultTheOptionIsRequired) {
  const test::TemporaryDirectory directory;
  directory.makeDirectory("velmo");
  directory.writeFile("velmo/jobs", "");
  for (const std::string& data : {directory.path().string(), directory.path("none")}) {
    try {
      jobDirectory("", {"DATA", data});
      ADD_FAILURE() << data;
    } catch (const Failure& failure) {
      EXPECT_EQ(Status::invalidArgument, failure.status());
      EXPECT_EQ("--dir is required, because \"" + data + "/velmo/jobs\" is not a directory",
                failure.what());
    }
  }
}

TEST(JobDirectoryTest, WithoutAUsableVariableTheDefaultIsNotConfigured) {
  for (const char* data : {"", "relative"}) {
    try {
      jobDirectory("", {"DATA", data});
      ADD_FAILURE() << data;
    } catch (const Error& failure) {
      EXPECT_EQ(Status::notConfigured, failure.status());
      EXPECT_EQ(0U, std::string(failure.what()).find("DATA is not ")) << failure.what();
    }
  }
}

}  // namespace
}  // namespace velmo::cli
