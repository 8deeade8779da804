// The job registry: finding jobs in memory and on disk, and making room.

#include <benchmark/benchmark.h>
#include <unistd.h>
#include <velmo/JobManager.h>

#include <filesystem>
#include <string>
#include <vector>

#include "JobFileScanner.h"

namespace {

constexpr long kMaxAge = 3600;

// A directory of job files, and a manager that has read so many of them.
class FullRegistry {
 public:
  FullRegistry(long jobs, long maxAge)
      : m_directory(freshDirectory()),
        manager(m_directory, static_cast<unsigned long>(jobs), maxAge, "u", "n", nullptr) {
    for (long i = 0; i < jobs; ++i) {
      keys.push_back("key" + std::to_string(i));
      JobInfo(m_directory + "/" + keys.back(), "J" + std::to_string(i), "u", "n", 50).createFile();
      manager.findJobInfo(keys.back());
    }
  }

  FullRegistry(const FullRegistry&) = delete;
  FullRegistry& operator=(const FullRegistry&) = delete;

  ~FullRegistry() {
    std::filesystem::remove_all(m_directory);
  }

  /// Writes the file of one job more.
  void addFile(const std::string& key) {
    JobInfo(m_directory + "/" + key, "J0", "u", "n", 50).createFile();
  }

 private:
  static std::string freshDirectory() {
    const std::string parent = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
    std::string directory = parent + "/registry-" + std::to_string(getpid());
    std::filesystem::create_directory(directory);
    return directory;
  }

  std::string m_directory;

 public:
  JobManager manager;
  std::vector<std::string> keys;
};

void scanJobFile(benchmark::State& state) {
  while (state.KeepRunning()) {
    brix::velmo::JobFileScanner scanner;
    for (const char* line : {"id=\"J17\"\n", "user=\"somebody\"\n", "name=\"monthly report\"\n",
                             "priority=\"50\"\n"}) {
      scanner.scanLine(line);
    }
    benchmark::DoNotOptimize(&scanner.fields());
  }
}
BENCHMARK(scanJobFile);

void findHit(benchmark::State& state, long maxAge) {
  FullRegistry registry(state.range(0), maxAge);
  std::size_t next = 0;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(registry.manager.findJobInfo(registry.keys[next]));
    next = next + 1 < registry.keys.size() ? next + 1 : 0;
  }
}
BENCHMARK_CAPTURE(findHit, withoutMaximumAge, 0L)->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK_CAPTURE(findHit, withMaximumAge, kMaxAge)->RangeMultiplier(10)->Range(100, 10000);

// Each look-up reads the file of a new key and drops the least recently used job. With a maximum
// age the registry is swept first.
void findMissInFullRegistry(benchmark::State& state, long maxAge) {
  FullRegistry registry(state.range(0), maxAge);
  long next = 0;
  while (state.KeepRunning()) {
    state.PauseTiming();
    const std::string key = "new" + std::to_string(next);
    ++next;
    registry.addFile(key);
    state.ResumeTiming();
    benchmark::DoNotOptimize(registry.manager.findJobInfo(key));
  }
}
BENCHMARK_CAPTURE(findMissInFullRegistry, eviction, 0L)->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK_CAPTURE(findMissInFullRegistry, sweepAndEviction, kMaxAge)
    ->RangeMultiplier(10)
    ->Range(100, 10000);

}  // namespace
