// Compares programs that start, submit one task by file and end.
//
// usage: velmo-standin --no-run -- compare_processes ROUNDS STARTS PROGRAM...
//
// A PROGRAM is a command line, its words separated by blanks. In each round all programs take turns
// in random order on one core, and each is started STARTS times. Prints an object for each program,
// one a line: the median of the milliseconds of a start, and the median over the rounds of the
// ratio to the first program, with its 95 % interval. Fails if a program fails or if its task
// differs from that of the first one.
//
// Programs in a build tree search their libraries in more directories than installed ones. To
// measure installed ones, run compare_installed.

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <velmo/velmo.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <numeric>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// A program, and what it took in each round.
struct Program {
  std::string commandLine{};
  std::vector<std::string> words{};
  std::vector<double> milliseconds{};  // of a start

  // The file name and the arguments.
  std::string name() const {
    return commandLine.substr(commandLine.rfind('/', commandLine.find(' ')) + 1);
  }
};

struct Summary {
  double low = 0;
  double median = 0;
  double high = 0;
};

// Standard output of the programs is dropped.
class Discard {
 public:
  Discard() {
    posix_spawn_file_actions_init(&m_actions);
    posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  }

  Discard(const Discard&) = delete;
  Discard& operator=(const Discard&) = delete;

  ~Discard() {
    posix_spawn_file_actions_destroy(&m_actions);
  }

  const posix_spawn_file_actions_t* get() const {
    return &m_actions;
  }

 private:
  posix_spawn_file_actions_t m_actions{};
};

// Starts a program, and waits for its end. The C library starts it without copying this process.
void start(Program& program, const Discard& output) {
  std::vector<char*> arguments;
  arguments.reserve(program.words.size() + 1);
  for (std::string& word : program.words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  pid_t process = 0;
  if (const int error =
          posix_spawn(&process, arguments[0], output.get(), nullptr, arguments.data(), environ)) {
    throw std::system_error(error, std::generic_category(), program.words.front());
  }
  int status = 0;
  if (waitpid(process, &status, 0) != process || status != 0) {
    throw std::runtime_error(program.commandLine + ": it failed");
  }
}

// Removes the tasks that were queued, so that the queue does not grow.
void clearQueue(const velmo::Installation& installation, std::size_t expected) {
  const std::vector<std::string> names = installation.list();
  for (const std::string& name : names) {
    installation.cancel(name);
  }
  if (names.size() != expected) {
    throw std::runtime_error("tasks in the queue: " + std::to_string(names.size()) + " of " +
                             std::to_string(expected));
  }
}

std::string contentsOf(const std::string& path) {
  std::ostringstream contents;
  contents << std::ifstream(path).rdbuf();
  return contents.str();
}

// The task that a program submits: its name without time and number, and its contents.
std::string taskOf(Program& program, const velmo::Installation& installation) {
  start(program, Discard());
  const std::vector<std::string> names = installation.list();
  const auto parts = velmo::parseName(names.empty() ? "" : names.front());
  if (!parts) {
    throw std::runtime_error(program.commandLine + ": it submitted no task");
  }
  std::ostringstream text;
  text << parts->priority << ' ' << parts->job << ' ' << parts->subJob << ' '
       << parts->relativePriority << ' ' << parts->type << ": "
       << contentsOf(installation.queueDirectory() + "/" + names.front());
  clearQueue(installation, 1);
  return text.str();
}

void checkTasks(std::vector<Program>& programs, const velmo::Installation& installation) {
  const std::string expected = taskOf(programs.front(), installation);
  for (Program& program : programs) {
    const std::string task = taskOf(program, installation);
    if (task != expected) {
      throw std::runtime_error(program.commandLine + ": its task \"" + task + "\" is not \"" +
                               expected + "\"");
    }
  }
}

void stayOnThisCore() {
  const int core = sched_getcpu();
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(core < 0 ? 0U : static_cast<unsigned>(core), &cores);
  sched_setaffinity(0, sizeof cores, &cores);
}

void runBlock(Program& program, int starts) {
  const Discard output;
  const Clock::time_point begin = Clock::now();
  for (int i = 0; i < starts; ++i) {
    start(program, output);
  }
  program.milliseconds.push_back(Milliseconds(Clock::now() - begin).count() / starts);
}

void runRounds(std::vector<Program>& programs, int rounds, int starts) {
  const velmo::Installation installation;
  clearQueue(installation, installation.list().size());
  checkTasks(programs, installation);
  std::vector<std::size_t> order(programs.size());
  std::iota(order.begin(), order.end(), 0);
  std::mt19937 random(std::random_device{}());
  for (int round = 0; round < rounds; ++round) {
    std::shuffle(order.begin(), order.end(), random);
    for (const std::size_t each : order) {
      runBlock(programs[each], starts);
      clearQueue(installation, static_cast<std::size_t>(starts));
    }
  }
}

// The median, with the order statistics between which it lies in 95 of 100 cases.
Summary summaryOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const auto count = static_cast<double>(values.size());
  const double half = 0.98 * std::sqrt(count);
  const auto at = [&values, count](double rank) {
    return values[static_cast<std::size_t>(std::clamp(rank, 0.0, count - 1))];
  };
  return {at(std::floor(count / 2 - half)), at(count / 2), at(std::ceil(count / 2 + half))};
}

void print(const Program& program, const Program& base) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < base.milliseconds.size(); ++i) {
    ratios.push_back(program.milliseconds[i] / base.milliseconds[i]);
  }
  const Summary ratio = summaryOf(ratios);
  std::printf(R"({"program":"%s","milliseconds":%.3f,"ratio":%.3f,"low":%.3f,"high":%.3f})"
              "\n",
              program.name().c_str(), summaryOf(program.milliseconds).median, ratio.median,
              ratio.low, ratio.high);
}

std::vector<Program> programsFrom(int count, char** commandLines) {
  std::vector<Program> programs;
  for (int i = 0; i < count; ++i) {
    std::istringstream words(commandLines[i]);
    Program program{commandLines[i]};
    for (std::string word; words >> word;) {
      program.words.push_back(word);
    }
    programs.push_back(std::move(program));
  }
  return programs;
}

}  // namespace

int main(int count, char** arguments) {
  const int rounds = count > 3 ? std::atoi(arguments[1]) : 0;
  const int starts = count > 3 ? std::atoi(arguments[2]) : 0;
  if (rounds < 1 || starts < 1) {
    std::fputs("usage: compare_processes ROUNDS STARTS PROGRAM...\n", stderr);
    return 1;
  }
  try {
    std::vector<Program> programs = programsFrom(count - 3, arguments + 3);
    stayOnThisCore();
    runRounds(programs, rounds, starts);
    for (const Program& program : programs) {
      print(program, programs.front());
    }
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "compare_processes: %s\n", failure.what());
    return 1;
  }
}
