// Properties files: loading one, and looking up a name.

#include <benchmark/benchmark.h>
#include <unistd.h>
#include <velmo/IMProperties.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using brix::imutils::IMProperties;

constexpr int kFewest = 10;
constexpr int kMost = 100000;

// A file with so many names, in memory where the system has such a file system.
class PropertiesFile {
 public:
  explicit PropertiesFile(benchmark::State& state) : m_path(path(state.range(0))) {
    std::ofstream file(m_path);
    for (int i = 0; i < state.range(0); ++i) {
      file << "name" << i << " = value " << i << '\n';
    }
  }

  PropertiesFile(const PropertiesFile&) = delete;
  PropertiesFile& operator=(const PropertiesFile&) = delete;

  ~PropertiesFile() {
    std::remove(m_path.c_str());
  }

  const char* path() const {
    return m_path.c_str();
  }

 private:
  static std::string path(long names) {
    const std::string directory = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
    return directory + "/properties-" + std::to_string(getpid()) + "-" + std::to_string(names);
  }

  std::string m_path;
};

void loadProperties(benchmark::State& state) {
  const PropertiesFile file(state);
  while (state.KeepRunning()) {
    IMProperties properties;
    benchmark::DoNotOptimize(properties.load(file.path()));
  }
}
BENCHMARK(loadProperties)->RangeMultiplier(10)->Range(kFewest, kMost);

void reloadProperties(benchmark::State& state) {
  const PropertiesFile file(state);
  IMProperties properties;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(properties.load(file.path()));
  }
}
BENCHMARK(reloadProperties)->RangeMultiplier(10)->Range(kFewest, kMost);

void lookUpLast(benchmark::State& state) {
  const PropertiesFile file(state);
  IMProperties properties;
  properties.load(file.path());
  const std::string last = "name" + std::to_string(state.range(0) - 1);
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(properties.getProperty(last.c_str()));
  }
}
BENCHMARK(lookUpLast)->RangeMultiplier(10)->Range(kFewest, kMost);

}  // namespace
