#include "TaskRequest.h"

#include <gtest/gtest.h>

#include <string>

#include "Refusal.h"

using service::velmo::AddTaskRequest;
using service::velmo::BaseMessage;

namespace velmo::standin {
namespace {

BaseMessage emptyTexts() {
  BaseMessage message;
  AddTaskRequest& request = *message.mutable_addtaskrequest();
  request.set_prioritytype("");
  request.set_command("");
  request.set_tasktype(service::velmo::JavaClass);
  request.set_deltatype("");
  request.set_jobid("");
  request.set_subjobid("");
  request.set_jobinfo("");
  request.set_relpriority(0);
  return message;
}

TEST(TaskRequestTest, RequestIsParsedAlsoWithEmptyTexts) {
  const AddTaskRequest request = parseRequest(emptyTexts().SerializeAsString());
  EXPECT_EQ(service::velmo::JavaClass, request.tasktype());
  EXPECT_TRUE(request.has_jobid());
  EXPECT_EQ("", request.jobid());
}

TEST(TaskRequestTest, MissingTextIsNotAnEmptyText) {
  BaseMessage message = emptyTexts();
  message.mutable_addtaskrequest()->clear_jobid();
  try {
    parseRequest(message.SerializePartialAsString());
    FAIL() << "taken";
  } catch (const Refusal& refusal) {
    EXPECT_EQ(CloseCode::kMalformed, refusal.code());
    EXPECT_STREQ("its addTaskRequest lacks or does not know jobId", refusal.what());
  }
}

TEST(TaskRequestTest, LastOfTwoMembersCounts) {
  BaseMessage response;
  response.mutable_addtaskresponse()->set_taskname("x");
  const std::string request = emptyTexts().SerializeAsString();
  EXPECT_NO_THROW(parseRequest(response.SerializeAsString() + request));
  EXPECT_THROW(parseRequest(request + response.SerializeAsString()), Refusal);
}

TEST(TaskRequestTest, ResponseContainsTheName) {
  EXPECT_EQ(std::string("\x12\x05\x0a\x03"
                        "abc"),
            responseMessage("abc"));
}

}  // namespace
}  // namespace velmo::standin
