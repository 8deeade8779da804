#include "BulkSubmission.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>

#include "FileDescriptor.h"
#include "SizeLimit.h"
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
    velmo_error error = errorOf(status, task.command.substr(colon + 1));
    if (status == Status::inDoubt) {
      error.cause = static_cast<velmo_status>(Status::unexpectedReply);
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
    signal(SIGXFSZ, SIG_IGN);
    m_defaults.priorityClass = "Normal";
  }

  tools::FileDescriptor create(const char* name) const {
    return tools::FileDescriptor(
        open(m_directory.path(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  }

  BulkResult run(const std::string& text, int results = -1) {
    const tools::FileDescriptor input(
        open(m_directory.writeFile("input", text).c_str(), O_RDONLY | O_CLOEXEC));
    return runInput(input.get(), results);
  }

  BulkResult runInput(int input, int results = -1) {
    const tools::FileDescriptor file = create("results");
    const tools::FileDescriptor messages = create("messages");
    Output output(results < 0 ? file.get() : results);
    Output errors(m_messages < 0 ? messages.get() : m_messages);
    std::optional<test::SizeLimit> limit;
    if (m_sizeLimit > 0) {
      limit.emplace(m_sizeLimit);
    }
    InputLines lines(input, m_stop, kLimit);
    Progress progress(errors, false, {});
    std::optional<FailedLines> failedLines;
    if (!m_isWithoutFailed) {
      failedLines.emplace(m_failed, input);
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
  rlim_t m_sizeLimit = 0;  // of files during a run; 0: none
  int m_messages = -1;     // the descriptor of messages; -1: a file
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

TEST_F(BulkSubmissionTest, AfterALossTheOtherLinesFailWithTheSameStatusWithoutAnAttempt) {
  const BulkResult result = run("one\n3:lost\nthree\n{bad\n");
  EXPECT_EQ("1\tok\t<one>\n2\tnot_running\tlost\n3\tnot_running\tlost\n4\tnot_running\tlost\n",
            results());
  EXPECT_EQ(2U, m_sender.tasks.size());
  EXPECT_EQ("3:lost\nthree\n{bad\n", failed());
  EXPECT_FALSE(result.firstNotSubmitted);
  EXPECT_EQ(Status::notRunning, statusOf(result));
}

TEST_F(BulkSubmissionTest, AfterTwoTimeoutsInARowTheOtherLinesAreNotTried) {
  run("4:slow\n4:slow\nthree\n");
  EXPECT_EQ("1\ttimed_out\tslow\n2\ttimed_out\tslow\n3\ttimed_out\tslow\n", results());
  EXPECT_EQ(2U, m_sender.tasks.size());
}

TEST_F(BulkSubmissionTest, LineThatIsRefusedBetweenTwoTimeoutsLetsTheRunGoOn) {
  run("4:slow\n10:no\n4:slow\nfour\n");
  EXPECT_EQ(4U, m_sender.tasks.size());
}

TEST_F(BulkSubmissionTest, AfterTwoLinesInDoubtTheOthersAreNotSent) {
  run("11:the task may be queued: x\n{\"command\": oops}\n11:the task may be queued: why\nfour\n");
  EXPECT_EQ(2U, m_sender.tasks.size());
  EXPECT_THAT(results(), testing::EndsWith(
                             "\n4\tunexpected_reply\tnot sent: the last task is in doubt: why\n"));
  EXPECT_EQ("{\"command\": oops}\nfour\n", failed());
}

TEST_F(BulkSubmissionTest, LineThatIsQueuedBetweenTwoInDoubtLetsTheRunGoOn) {
  const BulkResult result = run("11:x\ntwo\n11:x\n10:no\n11:x\nsix\n");
  EXPECT_EQ(6U, m_sender.tasks.size());
  EXPECT_EQ(2U, result.counts.queued);
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

TEST_F(BulkSubmissionTest, TaskWhoseResultHasNoReaderIsNamed) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  close(ends[0]);
  const tools::FileDescriptor writer(ends[1]);
  const BulkResult result = run("one\ntwo\n", writer.get());
  EXPECT_THAT(
      result.failureTexts,
      testing::ElementsAre("the reader of standard output is gone; line 1 is queued as <one>"));
  EXPECT_EQ(Status::inDoubt, statusOf(result));
}

TEST_F(BulkSubmissionTest, ResultThatCannotBeWrittenIsInTheFailure) {
  const tools::FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  const BulkResult result = run("one\ntwo\n", full.get());
  EXPECT_THAT(result.failureTexts,
              testing::ElementsAre(
                  "cannot write the output: No space left on device; line 1 is queued as <one>"));
  EXPECT_EQ(2U, result.firstNotSubmitted);
  EXPECT_EQ("two\n", failed());
  EXPECT_EQ(Status::inDoubt, statusOf(result));
}

TEST_F(BulkSubmissionTest, ResultOfTheLastLineThatCannotBeWrittenLeavesNoLineOut) {
  const tools::FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  for (const bool isWithoutFailed : {false, true}) {
    m_isWithoutFailed = isWithoutFailed;
    EXPECT_FALSE(run("one\n", full.get()).firstNotSubmitted);
  }
}

TEST_F(BulkSubmissionTest, FileThatCannotBeWrittenStopsTheRun) {
  m_sizeLimit = 60;
  const std::string line = "10:" + std::string(70, 'x') + "\n";
  const BulkResult result = run("10:no\n" + line + "three\n");
  EXPECT_EQ("10:no\n", failed());
  EXPECT_EQ("cannot write \"" + m_failed + "\": File too large; line 2 is in no file",
            result.failureTexts.at(0));
  EXPECT_EQ(3U, result.firstNotSubmitted);
  EXPECT_FALSE(result.isRestKept);
}

TEST_F(BulkSubmissionTest, FileOfLinesInDoubtThatCannotBeWrittenStillLeavesTheRestInTheFile) {
  m_sizeLimit = 80;
  const std::string information(60, 'x');
  const BulkResult result =
      run("{\"command\":\"11:x\",\"information\":\"" + information + "\"}\ntwo\n");
  EXPECT_EQ("two\n", failed());
  EXPECT_EQ("cannot write \"" + m_failed + ".in-doubt\": File too large; line 1 is in no file",
            result.failureTexts.at(0));
  EXPECT_EQ("", result.inDoubtPath);
  EXPECT_EQ("(none)", inDoubt());
  EXPECT_EQ(Status::inDoubt, statusOf(result));
}

TEST_F(BulkSubmissionTest, RestThatDoesNotFitIsKeptAsFarAsItFits) {
  m_stop = SIGINT;
  m_sizeLimit = 10;
  const BulkResult result = run("one\ntwo\nthree\nfour\n");
  EXPECT_EQ("one\ntwo\n", failed());
  EXPECT_THAT(result.failureTexts,
              testing::ElementsAre("cannot write \"" + m_failed +
                                   "\": File too large; the lines from 3 on are in no file"));
  EXPECT_EQ(1U, result.firstNotSubmitted);
}

TEST_F(BulkSubmissionTest, FailuresAreReportedOneAfterTheOther) {
  const tools::FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  m_sizeLimit = 5;
  const BulkResult result = run("one\ntwo\nthree\n", full.get());
  EXPECT_THAT(
      result.failureTexts,
      testing::ElementsAre(
          "cannot write the output: No space left on device; line 1 is queued as <one>",
          "cannot write \"" + m_failed + "\": File too large; the lines from 3 on are in no file"));
  EXPECT_EQ("two\n", failed());
}

TEST_F(BulkSubmissionTest, MessageThatCannotBeWrittenChangesNothing) {
  const tools::FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  m_messages = full.get();
  m_stop = SIGINT;
  const BulkResult result = run("one\ntwo\n");
  EXPECT_EQ("one\ntwo\n", failed());
  EXPECT_TRUE(result.isRestKept);
  EXPECT_TRUE(result.failureTexts.empty());
}

TEST_F(BulkSubmissionTest, ReaderOfMessagesThatIsGoneChangesNothing) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  close(ends[0]);
  const tools::FileDescriptor writer(ends[1]);
  m_messages = writer.get();
  m_stop = SIGINT;
  const BulkResult result = run("one\ntwo\n");
  EXPECT_EQ("one\ntwo\n", failed());
  EXPECT_FALSE(result.isOutputClosed);
}

TEST_F(BulkSubmissionTest, InputThatCannotBeReadNamesTheFirstLineThatWasNotSubmitted) {
  const tools::FileDescriptor directory(open("/", O_RDONLY | O_CLOEXEC));
  const BulkResult result = runInput(directory.get());
  EXPECT_EQ(1U, result.firstNotSubmitted);
  EXPECT_THAT(result.failureTexts,
              testing::ElementsAre("cannot read standard input: Is a directory; the lines from 1 "
                                   "on are in no file"));
  EXPECT_EQ(Status::systemError, statusOf(result));
}

TEST_F(BulkSubmissionTest, StopWhileALongLineIsKeptIsAnnouncedAtOnce) {
  std::array<int, 2> ends{};
  const std::string messages = m_directory.path("messages");
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  std::thread user([&, writer = ends[1]] {
    while (failed().size() != 150) {
      std::this_thread::yield();
    }
    m_stop = SIGINT;
    while (test::readFile(messages).empty()) {
      std::this_thread::yield();
    }
    tools::writeWhole(writer, "\nnext\n");
    close(writer);
  });
  const tools::FileDescriptor reader(ends[0]);
  tools::writeWhole(ends[1], std::string(150, 'x'));
  runInput(reader.get());
  user.join();
  EXPECT_EQ(std::string(150, 'x') + "\nnext\n", failed());
}

// A pipe that is full.
class FullPipe {
 public:
  FullPipe() {
    EXPECT_EQ(0, pipe2(m_ends.data(), O_CLOEXEC));
    fcntl(m_ends[1], F_SETFL, O_NONBLOCK);
  }
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;
  ~FullPipe() {
    close(m_ends[0]);
    close(m_ends[1]);
  }

  void fill() const {
    const std::string page(4096, 'x');
    while (write(m_ends[1], page.data(), page.size()) > 0) {
    }
  }
  int writer() const {
    return m_ends[1];
  }

 private:
  std::array<int, 2> m_ends{};
};

TEST_F(BulkSubmissionTest, StopEndsTheWaitForAReaderOfResultsBeforeTheLineIsSubmitted) {
  const FullPipe pipe;
  pipe.fill();
  std::thread stopper([this] { m_stop = SIGINT; });
  const BulkResult result = run("one\ntwo\n", pipe.writer());
  stopper.join();
  EXPECT_TRUE(m_sender.tasks.empty());
  EXPECT_EQ("one\ntwo\n", failed());
  EXPECT_EQ(Status::stopped, statusOf(result));
}

TEST_F(BulkSubmissionTest, StopEndsTheWaitForAReaderOfAResultAndNamesTheTask) {
  const FullPipe pipe;
  m_sender.onSend = [&] {
    pipe.fill();
    m_stop = SIGINT;
  };
  const BulkResult result = run("one\ntwo\n", pipe.writer());
  EXPECT_THAT(result.failureTexts,
              testing::ElementsAre("stopped while standard output could not be written; line 1 is "
                                   "queued as <one>"));
  EXPECT_EQ("two\n", failed());
  EXPECT_EQ(Status::inDoubt, statusOf(result));
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
