// Submission by file, and its parts. The calls that submit need an installation.

#include <benchmark/benchmark.h>
#include <velmo/CreateTaskFile.h>

#include <memory>
#include <string>

#include "QueueFile.h"
#include "TaskFileName.h"

namespace {

using brix::velmo::foldPercentSigns;

void submitWithJobId(benchmark::State& state) {
  while (state.KeepRunning()) {
    if (createTaskFile("Normal", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0) != 0) {
      state.SkipWithError("not queued");
    }
  }
}
BENCHMARK(submitWithJobId);

void submitWithNewJobId(benchmark::State& state) {
  while (state.KeepRunning()) {
    if (createTaskFile("Normal", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0) != 0) {
      state.SkipWithError("not queued");
    }
  }
}
BENCHMARK(submitWithNewJobId);

void drawTaskIdentifier(benchmark::State& state) {
  const CreateTaskFile identifiers;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(identifiers.generateTaskID());
  }
}
BENCHMARK(drawTaskIdentifier);

void drawJobIdentifier(benchmark::State& state) {
  while (state.KeepRunning()) {
    const std::unique_ptr<char[]> jobId(generateJobID());
    benchmark::DoNotOptimize(jobId.get());
  }
}
BENCHMARK(drawJobIdentifier);

void formatTimestamp(benchmark::State& state) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(brix::velmo::currentTimestamp());
  }
}
BENCHMARK(formatTimestamp);

void formatName(benchmark::State& state) {
  const brix::velmo::TaskFileName name{50, "20250303140509", "J12", "0", 731, 2, "sh"};
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(brix::velmo::formatTaskFileName(name));
  }
}
BENCHMARK(formatName);

void parseName(benchmark::State& state) {
  const std::string name = "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh";
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(brix::velmo::parseTaskFileName(name));
  }
}
BENCHMARK(parseName);

void formContents(benchmark::State& state) {
  const std::string command(static_cast<std::size_t>(state.range(0)), 'x');
  TaskFileDescriptor descriptor{};
  descriptor.command = command.c_str();
  descriptor.jobInfo = "#1USE=u#1JNA=n";
  const CreateTaskFile writer;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(foldPercentSigns(writer.getTaskContents(descriptor)));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(formContents)->Arg(100)->Arg(10000)->Arg(10000000);

void foldPairs(benchmark::State& state) {
  std::string contents;
  while (contents.size() < static_cast<std::size_t>(state.range(0))) {
    contents += "date +%%s; ";
  }
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(foldPercentSigns(contents));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(foldPairs)->Arg(100)->Arg(10000)->Arg(10000000);

}  // namespace
