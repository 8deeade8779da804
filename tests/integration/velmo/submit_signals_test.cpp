// velmo submit, and the signals that stop it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>

#include "NamedPipe.h"
#include "StandinProcess.h"
#include "TaskInstallation.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Words = std::vector<std::string>;

class SubmitSignalsTest : public testing::Test {
 protected:
  SubmitSignalsTest() {
    m_installation.writeConfPriorities("Normal=500\n");
    m_installation.writeJobCounter("7");
  }

  ToolProcess& startLines(const Words& options) {
    Words words{"submit", "--stdin", "-p", "Normal"};
    words.insert(words.end(), options.begin(), options.end());
    return m_process.emplace(words, m_input.path());
  }

  // Waits until so many lines have a result.
  void awaitResults(int count) {
    EXPECT_TRUE(waitUntil([&] {
      const std::string results = m_process->output();
      return std::count(results.begin(), results.end(), '\n') == count;
    })) << m_process->errors();
  }

  // Waits until a task has taken its number, and so waits for the number of its job.
  void awaitNumber() {
    EXPECT_TRUE(waitUntil([this] { return m_installation.counter.value() == 1; }));
  }

  void holdJobs() const {
    m_installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  }

  TaskInstallation m_installation;
  TemporaryDirectory m_directory;
  std::string m_failed = m_directory.path("failed");
  NamedPipe m_input{m_directory.path("input")};
  std::optional<ToolProcess> m_process;
};

TEST_F(SubmitSignalsTest, SignalEndsASubmissionThatWaits) {
  holdJobs();
  ToolProcess process({"submit", "-p", "Normal", "true"});
  awaitNumber();
  process.signal(SIGINT);
  const ToolResult result = process.wait();
  EXPECT_EQ(5, result.status);
  EXPECT_THAT(result.errors, StartsWith("velmo: not queued: stopped while waiting for "));
  EXPECT_TRUE(m_installation.queue().empty());
}

TEST_F(SubmitSignalsTest, SignalEndsARunThatWaitsForInput) {
  startLines({"-j", "J5"});
  m_input.write("one\ntwo\n");
  awaitResults(2);
  m_process->signal(SIGTERM);
  const ToolResult result = m_process->wait();
  EXPECT_EQ(5, result.status);
  EXPECT_THAT(result.errors, StartsWith("velmo: 2 lines: 2 queued, 0 failed, 0 in doubt, "));
  EXPECT_THAT(result.errors,
              HasSubstr("velmo: stopped at line 3; the lines from 3 on are not queued\n"));
}

TEST_F(SubmitSignalsTest, SignalEndsARunWhoseLineWaits) {
  holdJobs();
  startLines({"--failed", m_failed});
  m_input.write("one\ntwo\n");
  awaitNumber();
  m_process->signal(SIGINT);
  m_input.closeWriter();
  const ToolResult result = m_process->wait();
  EXPECT_EQ(5, result.status);
  EXPECT_EQ("", result.output);
  EXPECT_EQ("one\ntwo\n", textOf(m_failed));
  EXPECT_THAT(result.errors, HasSubstr("velmo: stopped at line 1; the lines from 1 on are not "
                                       "queued, and are with the failed lines\n"));
}

TEST_F(SubmitSignalsTest, LinesThatWereNotSubmittedAreKeptToTheEndOfTheInput) {
  startLines({"-j", "J5", "--failed", m_failed});
  m_input.write("one\npart");
  awaitResults(1);
  m_process->signal(SIGINT);
  EXPECT_TRUE(waitUntil([this] { return !m_process->errors().empty(); }));
  m_input.write("ial\n\nthree");
  m_input.closeWriter();
  const ToolResult result = m_process->wait();
  EXPECT_EQ(5, result.status);
  EXPECT_EQ("partial\n\nthree", textOf(m_failed));
  EXPECT_THAT(result.errors,
              StartsWith("velmo: stopping; the rest of the input is kept with the failed "
                         "lines (a signal ends this)\nvelmo: 1 line: 1 queued, "));
}

TEST_F(SubmitSignalsTest, SecondSignalLeavesWholeLines) {
  startLines({"-j", "J5", "--failed", m_failed});
  m_input.write("one\npart");
  awaitResults(1);
  m_process->signal(SIGINT);
  EXPECT_TRUE(waitUntil([this] { return !m_process->errors().empty(); }));
  m_input.write("ial\nrm -rf /");
  EXPECT_TRUE(waitUntil([this] { return textOf(m_failed) == "partial\n"; }));
  m_process->signal(SIGINT);
  EXPECT_EQ(-SIGINT, m_process->wait().status);
  EXPECT_EQ("partial\n", textOf(m_failed));
}

TEST_F(SubmitSignalsTest, ResultsAreWrittenAtOnce) {
  startLines({"-j", "J5"});
  m_input.write("one\n");
  awaitResults(1);
  m_process->signal(SIGKILL);
  m_process->wait();
  EXPECT_EQ("1\tok\t" + m_installation.queue().front() + "\n", m_process->output());
}

}  // namespace
}  // namespace velmo::test
