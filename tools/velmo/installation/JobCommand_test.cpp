#include "JobCommand.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Failure.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

TEST(JobDirectoryTest, AbsolutePathIsKept) {
  EXPECT_EQ("/a/b", jobDirectory("/a/b", ""));
}

TEST(JobDirectoryTest, RelativePathBeginsInTheCurrentDirectory) {
  EXPECT_EQ(std::filesystem::current_path().string() + "/jobs", jobDirectory("jobs", "/data"));
}

TEST(JobDirectoryTest, DefaultIsTheDirectoryInDataIfItIsThere) {
  const test::TemporaryDirectory directory;
  const std::string jobs = directory.makeDirectory("velmo/jobs");
  EXPECT_EQ(jobs, jobDirectory("", directory.path().string()));
}

TEST(JobDirectoryTest, WithoutADefaultTheOptionIsRequired) {
  const test::TemporaryDirectory directory;
  directory.makeDirectory("velmo");
  directory.writeFile("velmo/jobs", "");
  for (const std::string& data : {std::string(), std::string("relative"), directory.path().string(),
                                  directory.path("none")}) {
    try {
      jobDirectory("", data);
      ADD_FAILURE() << data;
    } catch (const Failure& failure) {
      EXPECT_EQ(Status::invalidArgument, failure.status());
      EXPECT_STREQ("--dir is required, because DATA/velmo/jobs is not a directory", failure.what());
    }
  }
}

}  // namespace
}  // namespace velmo::cli
