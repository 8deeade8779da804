#include "UnknownClasses.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "TemporaryDirectory.h"

namespace velmo::standin {
namespace {

using velmo::test::TemporaryDirectory;

constexpr const char* kFile = "9999.20250303140509.J12.S0.T20250303140509-731.R0002.sh";

class UnknownClassesTest : public testing::Test {
 protected:
  static std::string reportsOf(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
  }

  std::string reportsOfFile(const char* file) {
    return reportsOf([&] { m_classes.checkFile(*parseName(file), file); });
  }

  TemporaryDirectory m_directory;
  Installation m_installation{m_directory.path() / "home", false};
  UnknownClasses m_classes{m_installation};
};

TEST_F(UnknownClassesTest, ClassOfARequestIsLookedUpInBothFiles) {
  EXPECT_EQ("", reportsOf([&] {
              m_classes.checkRequest("Urgent", "a");
              m_classes.checkRequest("Nightly", "b");
            }));
}

TEST_F(UnknownClassesTest, UnknownClassOfARequestIsNamed) {
  EXPECT_EQ(
      "velmo-standin: warning: a request names the priority class 'urgent', which is not in "
      "priorities.cfg; its task gets the priority 9999\n",
      reportsOf([&] { m_classes.checkRequest("urgent", "a"); }));
}

TEST_F(UnknownClassesTest, FileWithThePriorityOfAnUnknownClassIsDescribed) {
  EXPECT_EQ(
      "velmo-standin: warning: priority 9999, created 2025-03-03 14:05:09, job J12, sub-job 0, "
      "task 731, relative 2, type sh: a priority class that is not in priorities.cfg gets the "
      "priority 9999\n",
      reportsOfFile(kFile));
  EXPECT_EQ("", reportsOfFile("9998.20250303140509.J12.S0.T20250303140509-731.R0002.sh"));
  EXPECT_EQ("", reportsOfFile("10000.20250303140509.J12.S0.T20250303140509-731.R0002.sh"));
}

TEST_F(UnknownClassesTest, FileOfARequestCausesNoSecondWarning) {
  reportsOf([&] { m_classes.checkRequest("urgent", kFile); });
  EXPECT_EQ("", reportsOfFile(kFile));
}

}  // namespace
}  // namespace velmo::standin
