#include "PriorityTable.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "ShownResult.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::PriorityTable;
using velmo::client::Result;
using velmo::client::Settings;
using velmo::test::lineOf;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

class PriorityTableTest : public testing::Test {
 protected:
  PriorityTableTest() {
    settings.velmoHome.value = directory.makeDirectory("home");
    settings.conf.value = directory.makeDirectory("conf");
    chmod(directory.path().c_str(), 0755);  // for UnprivilegedFiles
  }

  void writeHome(const std::string& contents) const {
    directory.writeFile("home/priorities.cfg", contents);
  }
  void writeConf(const std::string& contents) const {
    directory.writeFile("conf/priorities.cfg", contents);
  }

  PriorityTable load() const {
    return PriorityTable(settings);
  }

  int priority(const std::string& name, const std::string& adjustment = "") const {
    const Result<int> result = load().priorityOf(name, adjustment);
    EXPECT_TRUE(result.isOk()) << lineOf(result);
    return result.isOk() ? result.value() : -99999;
  }

  std::string refusal(const std::string& name, const std::string& adjustment = "") const {
    return lineOf(load().priorityOf(name, adjustment));
  }

  const TemporaryDirectory directory;
  const std::string home = directory.path("home/priorities.cfg");
  const std::string conf = directory.path("conf/priorities.cfg");
  const std::string both = "\"" + home + "\" and \"" + conf + "\"";
  Settings settings;
};

TEST_F(PriorityTableTest, ClassHasItsNumber) {
  writeHome("Normal=50\n");
  EXPECT_EQ(50, priority("Normal"));
}

TEST_F(PriorityTableTest, NumbersOfConfWin) {
  writeHome("Normal=50\nHome=1\n");
  writeConf("Normal=60\nConf=2\n");
  EXPECT_EQ(60, priority("Normal"));
  EXPECT_EQ(1, priority("Home"));
  EXPECT_EQ(2, priority("Conf"));
}

TEST_F(PriorityTableTest, LastLineOfANameCounts) {
  writeHome("Normal=50\nNormal=51\n");
  EXPECT_EQ(51, priority("Normal"));
}

TEST_F(PriorityTableTest, TextBehindTheNumberDoesNotCount) {
  writeHome("a=12abc\nb= +7 \nc=-3\nd=007\ne=\"9\"\nf=2147483647\ng=-2147483648\n");
  EXPECT_EQ(12, priority("a"));
  EXPECT_EQ(7, priority("b"));
  EXPECT_EQ(-3, priority("c"));
  EXPECT_EQ(7, priority("d"));
  EXPECT_EQ(9, priority("e"));
  EXPECT_EQ(2147483647, priority("f"));
  EXPECT_EQ(-2147483647 - 1, priority("g"));
}

TEST_F(PriorityTableTest, NamesAreComparedWhole) {
  writeHome("Normal=50\n");
  for (const char* name : {"normal", "Norma", "Normal ", " Normal", ""}) {
    EXPECT_FALSE(load().priorityOf(name, "").isOk()) << name;
  }
}

// --- adjustments ---

TEST_F(PriorityTableTest, AdjustmentIsAddedWithin0And9999) {
  writeHome("Normal=50\nHigh=9990\nLow=5\nMore=20\nLess=-20\nNone=0\nBeyond=12000\n");
  EXPECT_EQ(70, priority("Normal", "More"));
  EXPECT_EQ(30, priority("Normal", "Less"));
  EXPECT_EQ(9999, priority("High", "More"));
  EXPECT_EQ(0, priority("Low", "Less"));
  EXPECT_EQ(12000, priority("Beyond", "None"));
  EXPECT_EQ(12000, priority("Beyond"));
}

TEST_F(PriorityTableTest, UnknownAdjustmentIsRefused) {
  writeHome("Normal=50\n");
  writeConf("");
  EXPECT_EQ("no priority adjustment \"More\" in " + both + "; known: Normal",
            refusal("Normal", "More"));
}

TEST_F(PriorityTableTest, UnknownClassIsTheFirstFailure) {
  writeHome("Normal=50\n");
  writeConf("");
  EXPECT_EQ("no priority class \"x\" in " + both + "; known: Normal", refusal("x", "y"));
}

// --- unknown names ---

TEST_F(PriorityTableTest, NamesThatAreKnownAreListedInOrder) {
  writeHome("Normal=50\nHigh=1\nBad=x\n");
  writeConf("Low=99\nHigh=2\n");
  EXPECT_EQ("no priority class \"Hihg\" in " + both + "; known: High, Low, Normal",
            refusal("Hihg"));
}

TEST_F(PriorityTableTest, FileThatIsMissingIsNamedAsSuch) {
  writeConf("");
  EXPECT_EQ(
      "no priority class \"x\" in \"" + home + "\" (missing) and \"" + conf + "\"; known: none",
      refusal("x"));
}

TEST_F(PriorityTableTest, OnlyTheFirstOfManyNamesAreListed) {
  std::string contents;
  for (int number = 10; number < 99; ++number) {
    contents += "N" + std::to_string(number) + "=1\n";
  }
  writeHome(contents + std::string(3000, 'A') + "=1\n");
  const std::string detail = load().classNumber("x").fault().detail;
  EXPECT_NE(std::string::npos, detail.find("known: " + std::string(60, 'A') + "..., N10, N11"));
  EXPECT_EQ(", N28, ...", detail.substr(detail.size() - 10));
}

// --- values that are not numbers ---

TEST_F(PriorityTableTest, ValueThatIsNotAnIntIsRefused) {
  writeHome("a=abc\nb=\nc=2147483648\nd=-2147483649\ne=99999999999999999999\nf=-\n");
  writeConf("");
  for (const char* name : {"a", "b", "c", "d", "e", "f"}) {
    EXPECT_EQ("the priority class \"" + std::string(name) +
                  "\" has no number in the range of int in \"" + home + "\"",
              refusal(name));
  }
}

TEST_F(PriorityTableTest, AdjustmentThatIsNotAnIntIsRefused) {
  writeHome("Normal=50\n");
  writeConf("More=x\n");
  EXPECT_EQ(
      "the priority adjustment \"More\" has no number in the range of int in \"" + conf + "\"",
      refusal("Normal", "More"));
}

TEST_F(PriorityTableTest, LaterLineMendsAValue) {
  writeHome("Normal=x\nLow=1\n");
  writeConf("Normal=50\nLow=y\n");
  EXPECT_EQ(50, priority("Normal"));
  EXPECT_FALSE(load().classNumber("Low").isOk());
  EXPECT_EQ("", load().namesWithoutNumber(0));
  EXPECT_EQ("Low", load().namesWithoutNumber(1));
}

// --- variables and files that are missing or unreadable ---

TEST_F(PriorityTableTest, EitherVariableMayBeMissing) {
  writeHome("Normal=50\n");
  writeConf("Normal=60\n");
  settings.conf.value.clear();
  EXPECT_EQ(50, priority("Normal"));
  settings.conf.value = directory.path("conf");
  settings.velmoHome.value.clear();
  EXPECT_EQ(60, priority("Normal"));
}

TEST_F(PriorityTableTest, WithoutBothVariablesNoNameIsKnown) {
  EXPECT_EQ("neither VELMO_HOME nor CONF is set, so no priority is known",
            lineOf(PriorityTable(Settings()).priorityOf("Normal", "")));
}

TEST_F(PriorityTableTest, OneDirectoryForBothIsReadOnce) {
  writeHome("Normal=50\nx\n");
  settings.conf.value = settings.velmoHome.value;
  EXPECT_EQ(1U, load().files().size());
  EXPECT_EQ(1U, load().files()[0].skippedLines);
}

TEST_F(PriorityTableTest, UnreadableConfIsReportedForEveryName) {
  writeHome("Normal=50\n");
  writeConf("x=1\n");
  chmod(conf.c_str(), 0);
  const UnprivilegedFiles unprivileged;
  const std::string expected = "cannot read the priority file \"" + conf + "\": Permission denied";
  EXPECT_EQ(expected, refusal("Normal"));
  EXPECT_EQ(expected, refusal("Other"));
}

TEST_F(PriorityTableTest, UnreadableHomeIsReportedOnlyForNamesThatConfDoesNotHave) {
  writeHome("x=1\n");
  writeConf("Normal=50\n");
  chmod(home.c_str(), 0);
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ(50, priority("Normal"));
  EXPECT_EQ("cannot read the priority file \"" + home + "\": Permission denied", refusal("x"));
}

TEST_F(PriorityTableTest, RelativeVariableIsReportedByTheLookUp) {
  settings.conf.value = "conf";
  writeHome("Normal=50\n");
  EXPECT_EQ("CONF is not an absolute path: \"conf\"", refusal("Normal"));
}

TEST_F(PriorityTableTest, NamedPipeIsReportedByTheLookUp) {
  ASSERT_EQ(0, mkfifo(home.c_str(), 0600));
  EXPECT_EQ("not a regular file: \"" + home + "\"", refusal("Normal"));
}

// --- size ---

TEST_F(PriorityTableTest, LongFileIsLoaded) {
  std::string contents;
  for (int number = 0; number < 100'000; ++number) {
    contents += "Class" + std::to_string(number) + "=" + std::to_string(number % 10'000) + "\n";
  }
  writeHome(contents);
  const PriorityTable table = load();
  EXPECT_EQ(9999, table.classNumber("Class99999").value());
}

}  // namespace
