#include "QueuePlace.h"

#include <gtest/gtest.h>

#include <string>

#include "Environment.h"
#include "Failure.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

std::string name(const std::string& task, const std::string& priority = "0050") {
  return priority + ".20250303140509.J1.S0.T20250303140509-" + task + ".R0000.sh";
}

class TaskFinderTest : public testing::Test {
 protected:
  // The name, or the failure.
  std::string found(const std::string& given) {
    try {
      return m_finder.nameOf(given);
    } catch (const Failure& failure) {
      return std::to_string(static_cast<int>(failure.status())) + " " + failure.what();
    } catch (const Error& failure) {
      return std::to_string(static_cast<int>(failure.status())) + " " + failure.what();
    }
  }

  test::TemporaryDirectory m_directory;
  TaskFinder m_finder{m_directory.path()};
};

TEST_F(TaskFinderTest, TextThatIsNotANumberIsANameAsItIs) {
  for (const std::string given : {"", "x", "7x", "-7", "+7", " 7"}) {
    EXPECT_EQ(given, found(given));
  }
}

TEST_F(TaskFinderTest, NumberIsThatOfATask) {
  m_directory.writeFile(name("7"), "");
  m_directory.writeFile(name("70"), "");
  EXPECT_EQ(name("7"), found("7"));
  EXPECT_EQ("12 not in the queue: 07", found("07"));
  EXPECT_EQ("12 not in the queue: 99999999999", found("99999999999"));
}

TEST_F(TaskFinderTest, NumberOfSeveralTasksIsRefusedWithOneOfTheirNames) {
  m_directory.writeFile(name("7", "0060"), "");
  m_directory.writeFile(name("7", "0050"), "");
  EXPECT_EQ("1 several tasks have the number 7; give a name, such as " + name("7", "0050"),
            found("7"));
}

TEST_F(TaskFinderTest, QueueThatIsMissingIsReported) {
  TaskFinder finder(m_directory.path("none"));
  EXPECT_THROW(finder.nameOf("7"), Error);
  EXPECT_EQ("x", finder.nameOf("x"));
}

TEST(QueueDirectoryOfTest, VariableThatIsNotSetIsNamed) {
  test::Environment environment;
  environment.unset("VAR");
  try {
    queueDirectoryOf(Installation());
    FAIL();
  } catch (const Error& failure) {
    EXPECT_EQ(Status::notConfigured, failure.status());
  }
}

}  // namespace
}  // namespace velmo::cli
