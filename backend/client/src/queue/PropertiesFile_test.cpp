#include "PropertiesFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <velmo/IMProperties.h>

#include <string>
#include <vector>

#include "ShownResult.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::Problem;
using velmo::client::PropertiesFile;
using velmo::client::readProperties;
using velmo::test::lineOf;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

class PropertiesFileTest : public testing::Test {
 protected:
  PropertiesFile read() {
    entries.clear();
    return readProperties(path, Problem::PriorityFileUnreadable,
                          [this](const char* name, const char* value) {
                            entries.push_back(std::string(name) + "=" + value);
                          });
  }

  PropertiesFile read(const std::string& contents) {
    directory.writeFile("f", contents);
    return read();
  }

  const TemporaryDirectory directory;
  const std::string path = directory.path("f");
  std::vector<std::string> entries;
};

TEST_F(PropertiesFileTest, EntriesArePassedOnInOrder) {
  const PropertiesFile file = read("b=1\n# comment\n\n a = \"x\" \r\nb=2");
  EXPECT_EQ((std::vector<std::string>{"b=1", "a=x", "b=2"}), entries);
  EXPECT_EQ(path, file.path);
  EXPECT_FALSE(file.isMissing);
  EXPECT_FALSE(file.failure);
  EXPECT_EQ(0U, file.skippedLines);
}

TEST_F(PropertiesFileTest, LinesWithoutASeparatorOrANameAreCounted) {
  EXPECT_EQ(2U, read("abc\n=1\nb=2\n#x\n").skippedLines);
  EXPECT_EQ(std::vector<std::string>{"b=2"}, entries);
}

TEST_F(PropertiesFileTest, LineBeyondTheBufferArrivesInPieces) {
  read("a=" + std::string(65533, 'x') + "b=1\n");
  ASSERT_EQ(2U, entries.size());
  EXPECT_EQ(65535U, entries[0].size());
  EXPECT_EQ("b=1", entries[1]);
}

TEST_F(PropertiesFileTest, ReadsTheEntriesThatOlderProgramsRead) {
  read(std::string("a=1\0x\nb\0=2\n", 11) + "c = 3 = 4 # d\n\te\t=\t\"5\" \" \nf=\na=7");
  brix::imutils::IMProperties older;
  ASSERT_TRUE(older.load(path.c_str()));
  for (const std::string& entry : entries) {
    const std::string name = entry.substr(0, entry.find('='));
    if (name != "a") {
      ASSERT_NE(nullptr, older.getProperty(name.c_str())) << name;
      EXPECT_EQ(entry, name + "=" + older.getProperty(name.c_str()));
    }
  }
  EXPECT_STREQ("7", older.getProperty("a"));
  EXPECT_EQ("a=7", entries.back());
}

TEST_F(PropertiesFileTest, MissingFileIsNotAFailure) {
  const PropertiesFile file = read();
  EXPECT_TRUE(file.isMissing);
  EXPECT_FALSE(file.failure);
}

TEST_F(PropertiesFileTest, FileThatCannotBeReadIsAFailure) {
  directory.writeFile("f", "a=1\n");
  chmod(path.c_str(), 0);
  const UnprivilegedFiles unprivileged;
  const PropertiesFile file = read();
  EXPECT_EQ("cannot read the priority file \"" + path + "\": Permission denied",
            lineOf(file.failure));
  EXPECT_FALSE(file.isMissing);
}

TEST_F(PropertiesFileTest, NamedPipeIsAFailureAndIsNotWaitedFor) {
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  EXPECT_EQ("not a regular file: \"" + path + "\"", lineOf(read().failure));
}

TEST_F(PropertiesFileTest, FileInThePlaceOfItsDirectoryIsAFailure) {
  directory.writeFile("f", "");
  const auto take = [](const char* /*name*/, const char* /*value*/) {};
  EXPECT_EQ("cannot read the priority file \"" + path + "/g\": Not a directory",
            lineOf(readProperties(path + "/g", Problem::PriorityFileUnreadable, take).failure));
}

}  // namespace
