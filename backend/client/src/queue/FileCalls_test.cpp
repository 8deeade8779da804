#include "FileCalls.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ParallelProcesses.h"
#include "PlatformCalls.h"
#include "SizeLimit.h"
#include "TemporaryDirectory.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using velmo::client::Descriptor;
using velmo::client::FileStart;
using velmo::client::isFileAt;
using velmo::client::openDirectory;
using velmo::client::Opened;
using velmo::client::openFile;
using velmo::client::readStart;
using velmo::client::syncFile;
using velmo::client::writeAll;
using velmo::test::FakeScope;
using velmo::test::inProcesses;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::SizeLimit;
using velmo::test::TemporaryDirectory;

class FileCallsTest : public testing::Test {
 protected:
  Descriptor newFile(const std::string& name = "file") const {
    return openFile(directory.path(name), O_WRONLY | O_CREAT | O_TRUNC, 0600).descriptor;
  }

  const TemporaryDirectory directory;
  const FakeScope fakes;
};

// --- Descriptor ---

TEST_F(FileCallsTest, DescriptorIsClosedOnceByItsLastOwner) {
  const std::size_t before = openDescriptors();
  {
    Descriptor first = newFile();
    Descriptor second(std::move(first));
    Descriptor third;
    third = std::move(second);
    EXPECT_TRUE(third.isOpen());
    EXPECT_EQ(before + 1, openDescriptors());
  }
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(FileCallsTest, FailedCloseIsItsErrorNumberAndNotRepeated) {
  Descriptor descriptor = newFile();
  int closes = 0;
  platform().close.setFake([&closes](int number) {
    ++closes;
    platform().close.real(number);
    errno = EINTR;
    return -1;
  });
  EXPECT_EQ(EINTR, descriptor.close());
  EXPECT_EQ(0, descriptor.close());
  EXPECT_EQ(1, closes);
}

// --- opening ---

TEST_F(FileCallsTest, OpenIsResumedAfterASignalAndClosesOnExec) {
  std::vector<int> flags;
  platform().open.setFake([&flags](const char* path, int flag, mode_t mode) {
    flags.push_back(flag);
    errno = EINTR;
    return flags.size() < 3 ? -1 : platform().open.real(path, flag, mode);
  });
  EXPECT_TRUE(openFile("/dev/null", O_RDONLY).descriptor.isOpen());
  EXPECT_THAT(flags, ElementsAre(O_CLOEXEC, O_CLOEXEC, O_CLOEXEC));
}

TEST_F(FileCallsTest, FailedOpenIsItsErrorNumber) {
  const Opened missing = openFile(directory.path("missing"), O_RDONLY);
  EXPECT_FALSE(missing.descriptor.isOpen());
  EXPECT_EQ(ENOENT, missing.error);
  EXPECT_EQ(ENOTDIR, openDirectory(directory.writeFile("file", "")).error);
  EXPECT_EQ(0, openDirectory(directory.path()).error);
}

// --- reading ---

TEST_F(FileCallsTest, StartIsTheWholeOfAShortFile) {
  const FileStart start = readStart(directory.writeFile("file", "12\n"));
  EXPECT_EQ("12\n", start.text());
  EXPECT_FALSE(start.isCut());
  EXPECT_EQ(0, start.error);
}

TEST_F(FileCallsTest, StartOfALongFileIs256Bytes) {
  const FileStart start = readStart(directory.writeFile("file", std::string(1000, 'x')));
  EXPECT_EQ(std::string(256, 'x'), start.text());
  EXPECT_TRUE(start.isCut());
}

TEST_F(FileCallsTest, FileThatCannotBeReadIsItsErrorNumber) {
  EXPECT_EQ(ENOENT, readStart(directory.path("missing")).error);
  EXPECT_EQ(EISDIR, readStart(directory.path()).error);
}

TEST_F(FileCallsTest, PipeWithoutAWriterIsEmptyAndDoesNotBlock) {
  ASSERT_EQ(0, mkfifo(directory.path("pipe").c_str(), 0600));
  const FileStart start = readStart(directory.path("pipe"));
  EXPECT_EQ(0, start.error);
  EXPECT_EQ("", start.text());
}

TEST_F(FileCallsTest, ReadTakesFurtherOpenFlags) {
  std::filesystem::create_symlink(directory.writeFile("file", "x"), directory.path("link"));
  EXPECT_EQ("x", readStart(directory.path("link")).text());
  EXPECT_EQ(ELOOP, readStart(directory.path("link"), O_NOFOLLOW).error);
}

// --- writing ---

TEST_F(FileCallsTest, ShortAndInterruptedWritesAreResumed) {
  const Descriptor file = newFile();
  int calls = 0;
  platform().write.setFake([&calls](int number, const void* bytes, size_t size) {
    if (++calls % 2 == 0) {
      errno = EINTR;
      return ssize_t{-1};
    }
    return platform().write.real(number, bytes, size < 3 ? size : 3);
  });
  EXPECT_EQ(0, writeAll(file.get(), "12345678"));
  EXPECT_EQ(5, calls);
  EXPECT_EQ("12345678", readFile(directory.path("file")));
}

TEST_F(FileCallsTest, NothingToWriteIsNotWritten) {
  platform().write.setFake([](int, const void*, size_t) { return ssize_t{-1}; });
  EXPECT_EQ(0, writeAll(-1, ""));
}

TEST_F(FileCallsTest, FailedWriteIsItsErrorNumber) {
  EXPECT_EQ(EBADF, writeAll(-1, "x"));
  EXPECT_EQ(ENOSPC, writeAll(openFile("/dev/full", O_WRONLY).descriptor.get(), "x"));
}

TEST_F(FileCallsTest, WriteThatTakesNothingIsAFailureAndNotALoop) {
  platform().write.setFake([](int, const void*, size_t) { return ssize_t{0}; });
  EXPECT_EQ(EIO, writeAll(-1, "x"));
}

bool isPending(int signal) {
  sigset_t pending{};
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

bool isBlocked(int signal) {
  sigset_t mask{};
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, signal) == 1;
}

void block(int signal) {
  sigset_t set{};
  sigemptyset(&set);
  sigaddset(&set, signal);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

TEST_F(FileCallsTest, FileSizeLimitIsAFailureAndDoesNotEndTheProcess) {
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            const Descriptor file = newFile();
                            const SizeLimit limit(4);
                            const int error = writeAll(file.get(), "12345678");
                            return isBlocked(SIGXFSZ) || isPending(SIGXFSZ) ? 1 : error;
                          }),
              Each(EFBIG));
}

TEST_F(FileCallsTest, SignalOfTheSizeLimitThatWasPendingBeforeStaysPending) {
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            const Descriptor file = newFile();
                            const SizeLimit limit(4);
                            block(SIGXFSZ);
                            raise(SIGXFSZ);
                            const int error = writeAll(file.get(), "12345678");
                            return isBlocked(SIGXFSZ) && isPending(SIGXFSZ) ? error : 1;
                          }),
              Each(EFBIG));
}

TEST_F(FileCallsTest, ProgramThatBlocksTheSignalOfTheSizeLimitGetsNone) {
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            const Descriptor file = newFile();
                            const SizeLimit limit(4);
                            block(SIGXFSZ);
                            const int error = writeAll(file.get(), "12345678");
                            return isBlocked(SIGXFSZ) && !isPending(SIGXFSZ) ? error : 1;
                          }),
              Each(EFBIG));
}

// --- syncFile ---

TEST_F(FileCallsTest, SyncIsResumedAfterASignal) {
  int calls = 0;
  platform().fsync.setFake([&calls](int) {
    errno = EINTR;
    return ++calls < 3 ? -1 : 0;
  });
  EXPECT_EQ(0, syncFile(0));
  EXPECT_EQ(3, calls);
}

TEST_F(FileCallsTest, FailedSyncIsItsErrorNumber) {
  EXPECT_EQ(EBADF, syncFile(-1));
}

// --- isFileAt ---

TEST_F(FileCallsTest, FileIsAtItsPathUntilAnotherOneIs) {
  const Descriptor file = newFile();
  const std::string path = directory.path("file");
  EXPECT_TRUE(isFileAt(path, file.get()));
  std::filesystem::rename(path, directory.path("moved"));
  EXPECT_FALSE(isFileAt(path, file.get()));
  EXPECT_TRUE(isFileAt(directory.path("moved"), file.get()));
  directory.writeFile("file", "");
  EXPECT_FALSE(isFileAt(path, file.get()));
}

TEST_F(FileCallsTest, LinkToTheFileIsNotTheFile) {
  const Descriptor file = newFile();
  std::filesystem::create_symlink(directory.path("file"), directory.path("link"));
  EXPECT_FALSE(isFileAt(directory.path("link"), file.get()));
}

}  // namespace
