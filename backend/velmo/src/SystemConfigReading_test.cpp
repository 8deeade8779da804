// How much of a file is read before it is refused, and how long the call waits for a pipe.

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>

#include "ModulesFile.h"
#include "NamedPipe.h"
#include "ParserOutcome.h"
#include "SystemConfig.h"

namespace {

using velmo::test::expectRefused;
using velmo::test::NamedPipe;
using velmo::test::repeated;
using velmo::test::thrownByConfig;
using velmo::test::thrownByParser;

constexpr long kFewBlocks = 65'536;
constexpr int kTwoGigabytes = 2'000'000'000;
constexpr int kMachines = 5'000;

// How many bytes this process has read so far.
long bytesRead() {
  std::ifstream counters("/proc/self/io");
  std::string label;
  long count = -1;
  counters >> label >> count;
  EXPECT_EQ("rchar:", label);
  return count;
}

class SystemConfigReadingTest : public velmo::test::ModulesFileTest {
 protected:
  // Checks that the file is refused for its first byte, after a few blocks at most.
  static void expectRefusedAtOnce(const std::string& path) {
    const long before = bytesRead();
    EXPECT_EQ("N4Poco3XML17SAXParseExceptionE SAXParseException: Invalid token in line 1 column 0",
              thrownByConfig(path));
    EXPECT_LT(bytesRead() - before, kFewBlocks) << path;
  }
};

TEST_F(SystemConfigReadingTest, EndlessDeviceIsRefusedAtItsFirstBlock) {
  expectRefusedAtOnce("/dev/zero");
}

TEST_F(SystemConfigReadingTest, HugeFileOfZerosIsRefusedAtItsFirstBlock) {
  const std::string path = directory.writeFile("modules.xml", "");
  std::filesystem::resize_file(path, kTwoGigabytes);
  expectRefusedAtOnce(path);
}

TEST_F(SystemConfigReadingTest, PipeIsRefusedAtItsFirstIllFormedLineWhileItsWriterStays) {
  const NamedPipe pipe(directory.path("pipe"));
  pipe.write("not well-formed\n");
  EXPECT_EQ("N4Poco3XML17SAXParseExceptionE SAXParseException: Syntax error in line 1 column 0",
            thrownByConfig(pipe.path()));
  pipe.write("<system>\n</machine>\n");
  EXPECT_EQ("N4Poco3XML17SAXParseExceptionE SAXParseException: Tag mismatch in line 2 column 2",
            thrownByConfig(pipe.path()));
}

TEST_F(SystemConfigReadingTest, PipeIsReadInPiecesOfAnySize) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe(ends.data()));
  std::thread writer([&ends] {
    const std::string contents =
        "<system>" + repeated("<machine id='a'/>", kMachines) + "</system>";
    std::mt19937 random(1);
    for (std::size_t at = 0; at < contents.size();) {
      const std::string piece = contents.substr(at, 1 + random() % 100);
      EXPECT_EQ(static_cast<ssize_t>(piece.size()), write(ends[1], piece.data(), piece.size()));
      at += piece.size();
    }
    close(ends[1]);
  });
  const SystemConfig config("/dev/fd/" + std::to_string(ends[0]));
  writer.join();
  close(ends[0]);
  EXPECT_EQ(std::size_t{kMachines}, config.getMachines().size());
}

TEST_F(SystemConfigReadingTest, FileOfManyBlocksCutAnywhereThrowsWhatTheParserThrows) {
  const std::string contents =
      "<system>\n" + repeated("<machine id='a'>\n<!-- c --></machine>", 1000) + "</system>";
  std::mt19937 random(1);
  for (int i = 0; i < 200; ++i) {
    const std::size_t length = random() % contents.size();
    expectRefused(directory.writeFile("modules.xml", contents.substr(0, length)),
                  std::to_string(length) + " bytes");
  }
}

TEST_F(SystemConfigReadingTest, FileOfManyBlocksWithChangedBytesIsReadOrThrowsAsTheParserDoes) {
  const std::string contents =
      "<system>\n" + repeated("<machine id='\xc3\xa9'>\n&amp;</machine>", 1000) + "</system>";
  std::mt19937 random(2);
  for (int i = 0; i < 300; ++i) {
    std::string changed = contents;
    changed[random() % changed.size()] = static_cast<char>(random());
    const std::string path = directory.writeFile("modules.xml", changed);
    EXPECT_EQ(thrownByParser(path), thrownByConfig(path)) << i;
  }
}

}  // namespace
