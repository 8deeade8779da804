// The messages of velmo.proto: their descriptors, and their bytes, written out here by hand.

#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>
#include <velmo/velmo.pb.h>

#include <cstddef>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "WireMessages.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using service::velmo::AddTaskRequest;
using service::velmo::AddTaskResponse;
using service::velmo::BaseMessage;
using testing::ElementsAre;
using testing::StartsWith;
using velmo::test::envelopeOf;
using velmo::test::responseNaming;
using velmo::test::responseWithoutName;
using velmo::test::textField;
using velmo::test::WireRequest;

const FileDescriptor& file() {
  return *BaseMessage::descriptor()->file();
}

// A field in the form of its declaration: "required string command = 2".
std::string declaration(const FieldDescriptor& field) {
  std::string type(field.type_name());
  if (field.message_type() != nullptr) {
    type = std::string(field.message_type()->full_name());
  } else if (field.enum_type() != nullptr) {
    type = std::string(field.enum_type()->full_name());
  }
  const std::string label = field.is_required()   ? "required "
                            : field.is_repeated() ? "repeated "
                                                  : "optional ";
  return label + type + " " + std::string(field.name()) + " = " + std::to_string(field.number());
}

std::vector<std::string> declarations(const Descriptor& message) {
  std::vector<std::string> result;
  result.reserve(static_cast<std::size_t>(message.field_count()));
  for (int i = 0; i < message.field_count(); ++i) {
    result.push_back(declaration(*message.field(i)));
  }
  return result;
}

// --- descriptors ---

TEST(VelmoProtoTest, FileIsOfThePackageInTheSecondSyntax) {
  EXPECT_EQ("velmo.proto", file().name());
  EXPECT_EQ("service.velmo", file().package());
  EXPECT_THAT(file().DebugString(), StartsWith("syntax = \"proto2\";\n"));
  EXPECT_EQ(0, file().dependency_count());
  EXPECT_EQ(0, file().extension_count());
}

TEST(VelmoProtoTest, FileDeclaresThreeMessagesAnEnumerationAndAService) {
  ASSERT_EQ(3, file().message_type_count());
  EXPECT_EQ("AddTaskRequest", file().message_type(0)->name());
  EXPECT_EQ("AddTaskResponse", file().message_type(1)->name());
  EXPECT_EQ("BaseMessage", file().message_type(2)->name());
  EXPECT_EQ(1, file().enum_type_count());
  EXPECT_EQ(1, file().service_count());
}

TEST(VelmoProtoTest, TaskTypeHasTwoValues) {
  const auto& type = *service::velmo::TaskType_descriptor();
  EXPECT_EQ("service.velmo.TaskType", type.full_name());
  ASSERT_EQ(2, type.value_count());
  EXPECT_EQ("JavaClass", type.value(0)->name());
  EXPECT_EQ(1, type.value(0)->number());
  EXPECT_EQ("ShellScript", type.value(1)->name());
  EXPECT_EQ(2, type.value(1)->number());
}

TEST(VelmoProtoTest, AddTaskRequestHasEightRequiredFields) {
  EXPECT_THAT(
      declarations(*AddTaskRequest::descriptor()),
      ElementsAre("required string priorityType = 1", "required string command = 2",
                  "required service.velmo.TaskType taskType = 3", "required string deltaType = 4",
                  "required string jobId = 5", "required string subJobId = 6",
                  "required string jobInfo = 7", "required int32 relPriority = 8"));
}

TEST(VelmoProtoTest, AddTaskResponseHasOneRequiredField) {
  EXPECT_THAT(declarations(*AddTaskResponse::descriptor()),
              ElementsAre("required string taskName = 1"));
}

TEST(VelmoProtoTest, BaseMessageHoldsOneOfTwoMessages) {
  const Descriptor& message = *BaseMessage::descriptor();
  EXPECT_THAT(declarations(message),
              ElementsAre("optional service.velmo.AddTaskRequest addTaskRequest = 1",
                          "optional service.velmo.AddTaskResponse addTaskResponse = 2"));
  ASSERT_EQ(1, message.oneof_decl_count());
  EXPECT_EQ("theMessage", message.oneof_decl(0)->name());
  EXPECT_EQ(2, message.oneof_decl(0)->field_count());
}

TEST(VelmoProtoTest, ServiceHasOneMethod) {
  const auto& service = *file().service(0);
  EXPECT_EQ("VelmoService", service.name());
  ASSERT_EQ(1, service.method_count());
  EXPECT_EQ("addTask", service.method(0)->name());
  EXPECT_EQ("service.velmo.AddTaskRequest", service.method(0)->input_type()->full_name());
  EXPECT_EQ("service.velmo.AddTaskResponse", service.method(0)->output_type()->full_name());
}

TEST(VelmoProtoTest, NothingSetsAnOption) {
  google::protobuf::FileDescriptorProto proto;
  file().CopyTo(&proto);
  EXPECT_FALSE(proto.has_options());
  EXPECT_EQ(std::string::npos, proto.DebugString().find("options"));
  EXPECT_FALSE(file().options().cc_generic_services());
}

TEST(VelmoProtoTest, MessagesAreFullMessages) {
  EXPECT_TRUE((std::is_base_of_v<google::protobuf::Message, AddTaskRequest>));
  EXPECT_TRUE((std::is_base_of_v<google::protobuf::Message, AddTaskResponse>));
  EXPECT_TRUE((std::is_base_of_v<google::protobuf::Message, BaseMessage>));
  EXPECT_NE(nullptr, BaseMessage::default_instance().GetReflection());
}

TEST(VelmoProtoTest, DescriptorsAreInTheGeneratedPool) {
  EXPECT_EQ(&file(),
            google::protobuf::DescriptorPool::generated_pool()->FindFileByName("velmo.proto"));
}

// --- bytes ---

BaseMessage requestMessage(const WireRequest& wire) {
  BaseMessage message;
  AddTaskRequest& request = *message.mutable_addtaskrequest();
  request.set_prioritytype(wire.priorityType);
  request.set_command(wire.command);
  request.set_tasktype(static_cast<service::velmo::TaskType>(wire.taskType));
  request.set_deltatype(wire.deltaType);
  request.set_jobid(wire.jobId);
  request.set_subjobid(wire.subJobId);
  request.set_jobinfo(wire.jobInfo);
  request.set_relpriority(wire.relPriority);
  return message;
}

std::string serialised(const BaseMessage& message) {
  std::string bytes;
  EXPECT_TRUE(message.SerializeToString(&bytes));
  return bytes;
}

BaseMessage parsed(const std::string& bytes, bool isWhole = true) {
  std::istringstream stream(bytes);
  BaseMessage message;
  EXPECT_EQ(isWhole, message.ParseFromIstream(&stream));
  return message;
}

TEST(VelmoProtoTest, RequestHasTheseBytes) {
  const WireRequest wire{"Pr", "cmd", 2, "De", "J1", "0", "info", 7};
  const std::string expected(
      "\x0A\x1E"
      "\x0A\x02Pr\x12\x03"
      "cmd\x18\x02\x22\x02"
      "De\x2A\x02"
      "J1\x32\x01"
      "0\x3A\x04"
      "info\x40\x07",
      32);
  EXPECT_EQ(expected, envelopeOf(wire));
  EXPECT_EQ(expected, serialised(requestMessage(wire)));
}

TEST(VelmoProtoTest, EmptyTextsAreInTheRequestWithLength0) {
  const WireRequest wire;
  const std::string expected("\x0A\x10\x0A\0\x12\0\x18\x01\x22\0\x2A\0\x32\0\x3A\0\x40\0", 18);
  EXPECT_EQ(expected, serialised(requestMessage(wire)));
}

TEST(VelmoProtoTest, RelativePriorityTakesAnyNumber) {
  for (const int number :
       {0, 1, 127, 128, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    WireRequest wire;
    wire.relPriority = number;
    EXPECT_EQ(envelopeOf(wire), serialised(requestMessage(wire)));
    EXPECT_EQ(number, parsed(envelopeOf(wire)).addtaskrequest().relpriority());
  }
}

TEST(VelmoProtoTest, TextsOfAnyLengthAreReadBack) {
  for (const std::size_t length : {0U, 1U, 127U, 128U, 8192U, 100000U}) {
    WireRequest wire;
    wire.command = std::string(length, 'x');
    EXPECT_EQ(envelopeOf(wire), serialised(requestMessage(wire)));
    EXPECT_EQ(wire.command, parsed(envelopeOf(wire)).addtaskrequest().command());
  }
}

TEST(VelmoProtoTest, ResponseHasTheseBytes) {
  const std::string expected("\x12\x04\x0A\x02T1", 6);
  EXPECT_EQ(expected, responseNaming("T1"));
  BaseMessage message;
  message.mutable_addtaskresponse()->set_taskname("T1");
  EXPECT_EQ(expected, serialised(message));
  EXPECT_EQ("T1", parsed(expected).addtaskresponse().taskname());
}

TEST(VelmoProtoTest, CasesAreTheFieldNumbers) {
  EXPECT_EQ(0, parsed("").theMessage_case());
  EXPECT_EQ(1, parsed(envelopeOf(WireRequest())).theMessage_case());
  EXPECT_EQ(2, parsed(responseNaming("T1")).theMessage_case());
}

TEST(VelmoProtoTest, LastOfTwoMembersCounts) {
  EXPECT_EQ(2, parsed(envelopeOf(WireRequest()) + responseNaming("T1")).theMessage_case());
  EXPECT_EQ(1, parsed(responseNaming("T1") + envelopeOf(WireRequest())).theMessage_case());
}

TEST(VelmoProtoTest, ResponseWithoutNameIsNotWholeYetKeepsItsCase) {
  const BaseMessage message = parsed(responseWithoutName(), false);
  EXPECT_EQ(2, message.theMessage_case());
  EXPECT_EQ("", message.addtaskresponse().taskname());
}

TEST(VelmoProtoTest, UnknownFieldsAreSkipped) {
  EXPECT_EQ("T1",
            parsed(textField(9, "later") + responseNaming("T1")).addtaskresponse().taskname());
}

TEST(VelmoProtoTest, UnknownTaskTypeLeavesTheFieldUnset) {
  WireRequest wire;
  wire.taskType = 3;
  EXPECT_FALSE(parsed(envelopeOf(wire), false).addtaskrequest().has_tasktype());
}

}  // namespace
