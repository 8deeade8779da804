#include "BulkSubmission.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <functional>
#include <string>

#include "FileDescriptor.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

constexpr std::size_t kLimit = 100;

velmo_error errorOf(Status status, const std::string& message) {
  velmo_error error{};
  error.status = static_cast<velmo_status>(status);
  error.cause = error.status;
  std::snprintf(error.message, sizeof error.message, "%s", message.c_str());
  return error;
}

// Fails as the command says: "STATUSNUMBER:TEXT". Any other command is queued as "<COMMAND>".
class FakeSender : public TaskSender {
 public:
  std::string send(const Task& task) override {
    tasks.push_back(task);
    if (onSend) {
      onSend();
    }
    const std::size_t colon = task.command.find(':');
    if (colon == std::string::npos) {
      return "<" + task.command + ">";
    }
    const auto status = static_cast<Status>(std::stoi(task.command));
    const velmo_error error = errorOf(status, task.command.substr(colon + 1));
    if (status == Status::inDoubt) {
      throw InDoubt(error);
    }
    throw Error(error);
  }

  bool isLost() const override {
    return !tasks.empty() && tasks.back().command.find("lost") != std::string::npos;
  }

  std::vector<Task> tasks;
  std::function<void()> onSend;
};

class BulkSubmissionTest : public testing::Test {
 protected:
  BulkSubmissionTest() {
    signal(SIGPIPE, SIG_IGN);
    m_defaults.priorityClass = "Normal";
  }

  tools::FileDescriptor create(const char* name) const {
    return tools::FileDescriptor(
        open(m_directory.path(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  }

  BulkResult run(const std::string& text, int results = -1, const std::string& failed = "") {
    const tools::FileDescriptor input(
        open(m_directory.writeFile("input", text).c_str(), O_RDONLY | O_CLOEXEC));
    const tools::FileDescriptor file = create("results");
    const tools::FileDescriptor messages = create("messages");
    Output output(results < 0 ? file.get() : results);
    Output errors(messages.get());
    InputLines lines(input.get(), m_stop, kLimit);
    Progress progress(errors, false, {});
    std::optional<FailedLines> failedLines;
    if (!m_isWithoutFailed) {
      failedLines.emplace(failed.empty() ? m_failed : failed, input.get());
    }
    return BulkSubmission({lines, m_sender, output, errors, progress,
                           failedLines ? &*failedLines : nullptr, m_stop},
                          m_defaults, m_isJson)
        .run();
  }

  std::string results() const {
    return test::readFile(m_directory.path("results"));
  }
  std::string failed() const {
    return test::exists(m_failed) ? test::readFile(m_failed) : "(none)";
  }
  std::string inDoubt() const {
    const std::string path = m_failed + ".in-doubt";
    return test::exists(path) ? test::readFile(path) : "(none)";
  }

  test::TemporaryDirectory m_directory;
  std::string m_failed = m_directory.path("failed");
  std::atomic<int> m_stop{0};
  FakeSender m_sender;
  Task m_defaults;
  bool m_isJson = false;
  bool m_isWithoutFailed = false;
};

TEST_F(BulkSubmissionTest, EachLineIsATaskAndHasAResult) {
  const BulkResult result = run("one\ntwo");
  EXPECT_EQ("1\tok\t<one>\n2\tok\t<two>\n", results());
  EXPECT_EQ(2U, result.counts.queued);
  EXPECT_FALSE(result.firstNotSubmitted);
  EXPECT_EQ("Normal", m_sender.tasks[0].priorityClass);
  EXPECT_EQ("(none)", failed());
}

TEST_F(BulkSubmissionTest, ResultsCanBeJson) {
  m_isJson = true;
  run("one\n10:no\n");
  EXPECT_EQ(
      "{\"line\":1,\"status\":\"ok\",\"name\":\"<one>\"}\n"
      "{\"line\":2,\"status\":\"refused\",\"message\":\"no\"}\n",
      results());
}

TEST_F(BulkSubmissionTest, EmptyLinesAreSkippedButNumbered) {
  const BulkResult result = run("\n\none\n\n");
  EXPECT_EQ("3\tok\t<one>\n", results());
  EXPECT_EQ(1U, result.counts.lines());
}

TEST_F(BulkSubmissionTest, JsonLineReplacesDefaults) {
  run("{\"command\":\"x\",\"priority_class\":\"Urgent\"}\n");
  EXPECT_EQ("1\tok\t<x>\n", results());
  EXPECT_EQ("Urgent", m_sender.tasks[0].priorityClass);
}

TEST_F(BulkSubmissionTest, MalformedJsonFailsItsLineAndIsNeverSubmitted) {
  const BulkResult result = run("{\"command\": oops}\nnext\n");
  EXPECT_EQ("1\tinvalid_argument\tmalformed JSON at byte 13\n2\tok\t<next>\n", results());
  EXPECT_EQ(1U, m_sender.tasks.size());
  EXPECT_EQ("{\"command\": oops}\n", failed());
  EXPECT_EQ(Status::invalidArgument, statusOf(result));
}

TEST_F(BulkSubmissionTest, FailedLineIsKeptAndTheNextIsSubmitted) {
  const BulkResult result = run("one\n2:unknown class\nthree\n");
  EXPECT_EQ("1\tok\t<one>\n2\tnot_configured\tunknown class\n3\tok\t<three>\n", results());
  EXPECT_EQ("2:unknown class\n", failed());
  EXPECT_EQ(m_failed, result.failedPath);
  EXPECT_EQ(Status::notConfigured, statusOf(result));
}

TEST_F(BulkSubmissionTest, LineInDoubtIsKeptApart) {
  const BulkResult result = run("11:perhaps\n10:no\n");
  EXPECT_EQ("1\tin_doubt\tperhaps\n2\trefused\tno\n", results());
  EXPECT_EQ("10:no\n", failed());
  EXPECT_EQ("11:perhaps\n", inDoubt());
  EXPECT_EQ(1U, result.counts.inDoubt);
  EXPECT_EQ(Status::inDoubt, statusOf(result));
}

TEST_F(BulkSubmissionTest, LineTooLongIsReportedAndTheNextIsSubmitted) {
  const std::string line(300000, 'x');
  run(line + "\nnext\n");
  EXPECT_EQ("1\tinvalid_argument\tline too long\n2\tok\t<next>\n", results());
  EXPECT_EQ(line + "\n", failed());
}

TEST_F(BulkSubmissionTest, LineTooLongNeedsNoFileToBeSkipped) {
  m_isWithoutFailed = true;
  run(std::string(300000, 'x') + "\nnext\n");
  EXPECT_EQ("1\tinvalid_argument\tline too long\n2\tok\t<next>\n", results());
}

TEST_F(BulkSubmissionTest, AfterALossTheOtherLinesFailAlikeWithoutAnAttempt) {
  const BulkResult result = run("one\n3:lost\nthree\n{bad\n");
  EXPECT_EQ("1\tok\t<one>\n2\tnot_running\tlost\n3\tnot_running\tlost\n4\tnot_running\tlost\n",
            results());
  EXPECT_EQ(2U, m_sender.tasks.size());
  EXPECT_EQ("3:lost\nthree\n{bad\n", failed());
  EXPECT_FALSE(result.firstNotSubmitted);
  EXPECT_EQ(Status::notRunning, statusOf(result));
}

TEST_F(BulkSubmissionTest, AfterALossInDoubtTheOtherLinesAreNotInDoubt) {
  run("11:lost\ntwo\n");
  EXPECT_EQ("1\tin_doubt\tlost\n2\ttimed_out\tnot sent: the service does not reply in time\n",
            results());
  EXPECT_EQ("two\n", failed());
  EXPECT_EQ("11:lost\n", inDoubt());
}

TEST_F(BulkSubmissionTest, StopKeepsTheLinesThatWereNotSubmitted) {
  m_sender.onSend = [this] { m_stop = SIGINT; };
  const BulkResult result = run("one\ntwo\n\nthree");
  EXPECT_EQ("1\tok\t<one>\n", results());
  EXPECT_EQ("two\n\nthree", failed());
  EXPECT_EQ(2U, result.firstNotSubmitted);
  EXPECT_TRUE(result.isRestKept);
  EXPECT_EQ(Status::stopped, statusOf(result));
}

TEST_F(BulkSubmissionTest, LineWhoseSubmissionWasStoppedIsTheFirstThatWasNotSubmitted) {
  const BulkResult result = run("one\n5:stopped while waiting\nthree\n");
  EXPECT_EQ("1\tok\t<one>\n", results());
  EXPECT_EQ("5:stopped while waiting\nthree\n", failed());
  EXPECT_EQ(2U, result.firstNotSubmitted);
  EXPECT_EQ(1U, result.counts.lines());
}

TEST_F(BulkSubmissionTest, StopWithoutAFileNamesTheFirstLineThatWasNotSubmitted) {
  m_isWithoutFailed = true;
  m_stop = SIGINT;
  const BulkResult result = run("one\n");
  EXPECT_EQ("", results());
  EXPECT_EQ(1U, result.firstNotSubmitted);
  EXPECT_FALSE(result.isRestKept);
}

TEST_F(BulkSubmissionTest, ReaderThatIsGoneStopsTheRunAndTheLinesAreKept) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  close(ends[0]);
  const tools::FileDescriptor writer(ends[1]);
  const BulkResult result = run("10:no\ntwo\nthree\n", writer.get());
  EXPECT_TRUE(result.isOutputClosed);
  EXPECT_EQ(1U, m_sender.tasks.size());
  EXPECT_EQ("10:no\ntwo\nthree\n", failed());
  EXPECT_EQ(2U, result.firstNotSubmitted);
}

TEST_F(BulkSubmissionTest, ResultThatCannotBeWrittenIsInTheFailure) {
  const tools::FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  const BulkResult result = run("one\ntwo\n", full.get());
  EXPECT_EQ("cannot write the output: No space left on device; line 1 is queued as <one>",
            result.failureText);
  EXPECT_EQ(2U, result.firstNotSubmitted);
  EXPECT_EQ("two\n", failed());
  EXPECT_EQ(Status::systemError, statusOf(result));
}

TEST_F(BulkSubmissionTest, FileThatCannotBeWrittenStopsTheRun) {
  const BulkResult result = run("one\n10:no\nthree\n", -1, "/dev/full");
  EXPECT_EQ("1\tok\t<one>\n2\trefused\tno\n", results());
  EXPECT_EQ("cannot write \"/dev/full\": No space left on device; line 2 is not in it",
            result.failureText);
  EXPECT_EQ(3U, result.firstNotSubmitted);
  EXPECT_FALSE(result.isRestKept);
  EXPECT_EQ(Status::systemError, statusOf(result));
}

TEST_F(BulkSubmissionTest, RestThatCannotBeKeptIsReported) {
  m_stop = SIGINT;
  const BulkResult result = run("one\n", -1, "/dev/full");
  EXPECT_EQ(
      "cannot write \"/dev/full\": No space left on device; lines that were not submitted are lost",
      result.failureText);
  EXPECT_EQ(1U, result.firstNotSubmitted);
}

TEST_F(BulkSubmissionTest, MemoryThatRunsOutFailsItsLine) {
  m_sender.onSend = [this] {
    if (m_sender.tasks.size() == 1) {
      throw std::bad_alloc();
    }
  };
  run("one\ntwo\n");
  EXPECT_EQ("1\tout_of_memory\tout of memory\n2\tok\t<two>\n", results());
}

}  // namespace
}  // namespace velmo::cli
