#include "GivenRequest.h"

#include <gtest/gtest.h>

namespace velmo::client {
namespace {

velmo_task taskOf(const char* command) {
  velmo_task task{};
  task.size = sizeof task;
  task.priority_class = "Normal";
  task.command = command;
  return task;
}

TEST(GivenRequestTest, FieldsAreThoseOfTheTaskWithTheDefaults) {
  velmo_task task = taskOf("true");
  task.relative_priority = -3;
  const Result<RequestFields> request = takeRequest(&task);
  ASSERT_TRUE(request.isOk());
  EXPECT_EQ("Normal", request.value().priorityType);
  EXPECT_EQ("true", request.value().command);
  EXPECT_EQ(WireTaskType::ShellScript, request.value().taskType);
  EXPECT_EQ("", request.value().jobId);
  EXPECT_EQ("0", request.value().subJobId);
  EXPECT_EQ(-3, request.value().relPriority);
}

TEST(GivenRequestTest, TypeJavaHasItsNumber) {
  velmo_task task = taskOf("Main");
  task.type = "java";
  EXPECT_EQ(WireTaskType::JavaClass, takeRequest(&task).value().taskType);
}

TEST(GivenRequestTest, OtherTypesAreRefused) {
  velmo_task task = taskOf("true");
  task.type = "perl";
  EXPECT_EQ(Problem::TypeNotSendable, takeRequest(&task).fault().problem);
}

TEST(GivenRequestTest, TextThatIsNotUtf8IsRefused) {
  const velmo_task task = taskOf("\xff");
  const Result<RequestFields> request = takeRequest(&task);
  EXPECT_EQ(Problem::ArgumentNotUtf8, request.fault().problem);
  EXPECT_EQ("command", request.fault().subject);
}

TEST(GivenRequestTest, MistakesOfEveryTaskAreRefused) {
  const velmo_task task = taskOf("one\ntwo");
  EXPECT_EQ(Problem::ArgumentHasLineFeed, takeRequest(&task).fault().problem);
}

}  // namespace
}  // namespace velmo::client
