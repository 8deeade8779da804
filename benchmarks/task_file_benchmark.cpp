// What a submission by file costs, and its parts. Run it under the stand-in, which makes the
// installation that it submits to:
//   velmo-standin --no-run -- task_file_benchmark

#include <benchmark/benchmark.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/IMProperties.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace {

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

void loadProperties(benchmark::State& state) {
  const char* home = std::getenv("VELMO_HOME");
  const std::string file = std::string(home != nullptr ? home : ".") + "/priorities.cfg";
  while (state.KeepRunning()) {
    brix::imutils::IMProperties properties;
    benchmark::DoNotOptimize(properties.load(file.c_str()));
  }
}
BENCHMARK(loadProperties);

void lookUpLastOf(benchmark::State& state) {
  brix::imutils::IMProperties properties;
  for (int i = 0; i < state.range(0); ++i) {
    properties.setProperty(("name" + std::to_string(i)).c_str(), "value");
  }
  const std::string last = "name" + std::to_string(state.range(0) - 1);
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(properties.getProperty(last.c_str()));
  }
}
BENCHMARK(lookUpLastOf)->Arg(10)->Arg(100);

}  // namespace

BENCHMARK_MAIN();
