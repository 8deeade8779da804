// The messages of a submission, without a connection.

#include <benchmark/benchmark.h>
#include <velmo/velmo.pb.h>

#include <string>

#include "ReplyReader.h"

namespace {

using service::velmo::BaseMessage;

BaseMessage exampleRequest() {
  BaseMessage request;
  auto& task = *request.mutable_addtaskrequest();
  task.set_prioritytype("Normal");
  task.set_command("/usr/bin/report --daily");
  task.set_tasktype(service::velmo::ShellScript);
  task.set_deltatype("");
  task.set_jobid("node2-J17");
  task.set_subjobid("0");
  task.set_jobinfo("#1USE=u#1JNA=n");
  task.set_relpriority(0);
  return request;
}

std::string exampleReply() {
  BaseMessage reply;
  reply.mutable_addtaskresponse()->set_taskname(
      "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh");
  return reply.SerializeAsString();
}

void fillAndSerializeRequest(benchmark::State& state) {
  std::string bytes;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(exampleRequest().SerializeToString(&bytes));
    benchmark::DoNotOptimize(bytes.data());
  }
}
BENCHMARK(fillAndSerializeRequest);

void parseReply(benchmark::State& state) {
  constexpr int kFinalBinaryFrame = 0x82;
  const std::string bytes = exampleReply();
  while (state.KeepRunning()) {
    brix::velmo::ReplyReader reader;
    reader.take(bytes.data(), static_cast<int>(bytes.size()), kFinalBinaryFrame);
    benchmark::DoNotOptimize(reader.taskName());
  }
}
BENCHMARK(parseReply);

}  // namespace
