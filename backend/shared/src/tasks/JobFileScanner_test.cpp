#include "JobFileScanner.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "PlatformJobFile.h"

namespace {

using brix::velmo::captureQuoted;
using brix::velmo::JobFileFields;
using brix::velmo::JobFileScanner;
using velmo::test::PlatformJobFile;

JobFileFields scan(const std::vector<std::string>& lines) {
  JobFileScanner scanner;
  for (const std::string& line : lines) {
    scanner.scanLine(line.c_str());
  }
  return scanner.fields();
}

// The fields as one text, for table rows.
template <typename Fields>
std::string shown(const Fields& fields) {
  return "id<" + fields.id + "> user<" + fields.user + "> name<" + fields.name + "> priority " +
         std::to_string(fields.priority);
}

std::string scanned(const std::vector<std::string>& lines) {
  return shown(scan(lines));
}

// --- lines ---

TEST(JobFileScannerTest, WithoutALineEveryFieldIsEmptyAndThePriority0) {
  EXPECT_EQ("id<> user<> name<> priority 0", scanned({}));
}

TEST(JobFileScannerTest, FourLinesGiveTheFourFields) {
  EXPECT_EQ("id<J17> user<u> name<n> priority 50",
            scanned({"id=\"J17\"\n", "user=\"u\"\n", "name=\"n\"\n", "priority=\"50\"\n"}));
}

TEST(JobFileScannerTest, LinesMayComeInAnyOrder) {
  EXPECT_EQ("id<J17> user<u> name<n> priority 50",
            scanned({"priority=\"50\"\n", "name=\"n\"\n", "user=\"u\"\n", "id=\"J17\"\n"}));
}

TEST(JobFileScannerTest, LastLineOfAKeyCounts) {
  EXPECT_EQ("id<J2> user<u2> name<n2> priority 2",
            scanned({"id=\"J1\"\n", "user=\"u1\"\n", "name=\"n1\"\n", "priority=\"1\"\n",
                     "id=\"J2\"\n", "user=\"u2\"\n", "name=\"n2\"\n", "priority=\"2\"\n"}));
}

TEST(JobFileScannerTest, LineIsRecognisedByItsVeryFirstCharactersOnly) {
  const std::vector<std::string> ignored{
      " id=\"x\"\n",     // a blank before the key
      "\tname=\"x\"\n",  // a tab before the key
      "  user=\"x\"\n",
      " priority=\"1\"\n",
      "Id=\"x\"\n",   // another case
      "id =\"x\"\n",  // a blank after the key
      "ids=\"x\"\n",  // a longer key
      "i",            // a shorter one
      "id",
      "id:\"x\"\n",
      "xid=\"x\"\n",
      "\"id=\"x\"\n",
      "#id=\"x\"\n",
      "jobid=\"x\"\n",
      "\n",
      "",
      "=\"x\"\n",
      "priority\n",
  };
  for (const std::string& line : ignored) {
    EXPECT_EQ("id<a> user<b> name<c> priority 4",
              scanned({"id=\"a\"", "user=\"b\"", "name=\"c\"", "priority=\"4\"", line}))
        << line;
  }
}

// --- values ---

TEST(JobFileScannerTest, ValueEndsAtTheFirstCharacterOutsideTheSet) {
  struct Row {
    std::string line;
    std::string id;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"id=\"J17\"\n", "J17", "plain"},
      {"id=\"J17\n", "J17", "no closing quote"},
      {"id=\"J17", "J17", "no line end either"},
      {"id=\"J17\"\r\n", "J17", "a carriage return"},
      {"id=\"J17\r\n", "J17", "a carriage return in place of the quote"},
      {"id=\"J17\" x=\"y\"\n", "J17", "text behind the value"},
      {"id=\"J17\"\"\"\n", "J17", "several quotes"},
      {"id=\"a=b\"\n", "a", "an equals sign"},
      {"id=\"a\tb\"\n", "a", "a tab"},
      {"id=\"a'b\"\n", "a", "a single quote"},
      {"id=\"a!b\"\n", "a", "an exclamation mark"},
      {"id=\"a+b\"\n", "a", "a plus sign"},
      {"id=\"a<b\"\n", "a", "an angle bracket"},
      {"id=\"a>b\"\n", "a", "the other angle bracket"},
      {"id=\"a?b\"\n", "a", "a question mark"},
      {"id=\"a~b\"\n", "a", "a tilde"},
      {"id=\"a`b\"\n", "a", "a backquote"},
      {"id=\"a\x7f"
       "b\"\n",
       "a", "a delete character"},
      {"id=\"a\xc3\xa4"
       "b\"\n",
       "a", "a letter beyond ASCII"},
      {"id=\" \"\n", " ", "a blank is a value"},
      {"id=\"  a b  \"\n", "  a b  ", "blanks are kept"},
      {"id=\"]\"\n", "]", "a closing bracket first"},
      {"id=\"^a\"\n", "^a", "a caret first"},
      {"id=\"-a-\"\n", "-a-", "hyphens at the ends"},
      {"id=\"\\\"\n", "\\", "a backslash does not escape"},
      {"id=\"a\\\"b\"\n", "a\\", "nor does it keep a quote"},
      {"id=\"%s%n\"\n", "%s%n", "percent signs"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.id, scan({row.line}).id) << row.reason;
  }
}

TEST(JobFileScannerTest, SetAdmitsExactlyTheseCharacters) {
  std::string admitted;
  for (int character = 1; character < 256; ++character) {
    const std::string text = {'"', static_cast<char>(character)};
    admitted += captureQuoted(text);
  }
  EXPECT_EQ(
      " #$%&()*,-./0123456789:;@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_abcdefghijklmnopqrstuvwxyz{|}",
      admitted);
}

TEST(JobFileScannerTest, ValueIsCutAfter255Characters) {
  for (const std::size_t length : {254U, 255U, 256U, 10000U}) {
    const std::string text(length, 'x');
    EXPECT_EQ(text.substr(0, 255), captureQuoted("\"" + text + "\""));
  }
}

TEST(JobFileScannerTest, NulEndsALine) {
  EXPECT_EQ("a", scan({std::string("id=\"a\0b\"\n", 9)}).id);
  EXPECT_EQ("id<> user<> name<> priority 0", scanned({std::string("\0id=\"a\"\n", 8)}));
  EXPECT_EQ("", captureQuoted(std::string_view("\"\0a", 3)));
}

// --- the carry-over ---

TEST(JobFileScannerTest, FieldWithoutAValueTakesTheLastOneCapturedOfAnyKey) {
  struct Row {
    std::vector<std::string> lines;
    std::string fields;
    std::string reason;
  };
  const std::vector<Row> rows{
      {{"user=\"\""}, "id<> user<> name<> priority 0", "nothing was captured before"},
      {{"id=\"J1\"", "user=\"\""}, "id<J1> user<J1> name<> priority 0", "identifier to user"},
      {{"id=\"J1\"", "name=\"\""}, "id<J1> user<> name<J1> priority 0", "identifier to name"},
      {{"user=\"u\"", "id=\"\""}, "id<u> user<u> name<> priority 0", "user to identifier"},
      {{"user=\"u\"", "name=\"\""}, "id<> user<u> name<u> priority 0", "user to name"},
      {{"name=\"n\"", "id=\"\""}, "id<n> user<> name<n> priority 0", "name to identifier"},
      {{"name=\"n\"", "user=\"\""}, "id<> user<n> name<n> priority 0", "name to user"},
      {{"user=\"\"", "id=\"J1\""}, "id<J1> user<> name<> priority 0", "not backwards"},
      {{"id=\"J1\"", "user=\"u\"", "name=\"\""},
       "id<J1> user<u> name<u> priority 0",
       "the last capture, not the first"},
      {{"id=\"J1\"", "user=\"\"", "name=\"\""},
       "id<J1> user<J1> name<J1> priority 0",
       "as often as needed"},
      {{"id=\"J1\"", "id=\"\""}, "id<J1> user<> name<> priority 0", "to the same key"},
      {{"id=\"J1\"", "user=\"u\"", "id=\"\""},
       "id<u> user<u> name<> priority 0",
       "over the key's own earlier value"},
      {{"id=\"J1\"", "user=x"}, "id<J1> user<J1> name<> priority 0", "no quote at all"},
      {{"id=\"J1\"", "user="}, "id<J1> user<J1> name<> priority 0", "nothing at all"},
      {{"id=\"J1\"", "user= \"u\""}, "id<J1> user<J1> name<> priority 0", "a blank first"},
      {{"id=\"J1\"", "user='u'"}, "id<J1> user<J1> name<> priority 0", "another quote"},
      {{"id=\"J1\"", "user=\"=u\""}, "id<J1> user<J1> name<> priority 0", "not in the set"},
      {{"id=\"J1\"", " user=\"\""}, "id<J1> user<> name<> priority 0", "not in an ignored line"},
      {{"id=\"J1\"", "priority=\"7\"", "user=\"\""},
       "id<J1> user<J1> name<> priority 7",
       "a priority is no capture"},
      {{"id=\"J1\"", "user=\"\"", "priority=\"\""},
       "id<J1> user<J1> name<> priority 0",
       "and takes none"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.fields, scanned(row.lines)) << row.reason;
  }
}

TEST(JobFileScannerTest, CarryOverEndsWithTheFile) {
  EXPECT_EQ("J1", scan({"id=\"J1\""}).id);
  EXPECT_EQ("", scan({"id=\"\""}).id);
}

// --- the priority ---

TEST(JobFileScannerTest, PriorityReadsAsPercentDDoes) {
  struct Row {
    std::string line;
    int priority;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"priority=\"50\"\n", 50, "plain"},
      {"priority=\"50\n", 50, "no closing quote"},
      {"priority=\"-7\"\n", -7, "a sign"},
      {"priority=\"+7\"\n", 7, "a plus sign"},
      {"priority=\" \t7\"\n", 7, "white space behind the quote"},
      {"priority=\"7x\"\n", 7, "text behind the number"},
      {"priority=\"007\"\n", 7, "leading zeros"},
      {"priority=\"2147483647\"\n", 2147483647, "largest"},
      {"priority=\"-2147483648\"\n", -2147483647 - 1, "smallest"},
      {"priority=\"4294967297\"\n", 1, "cut to 32 bits"},
      {"priority=\"99999999999999999999\"\n", -1, "beyond a long"},
      {"priority=\"\"\n", 3, "empty: as it was"},
      {"priority=\"x\"\n", 3, "no number: as it was"},
      {"priority=\"-\"\n", 3, "a sign only: as it was"},
      {"priority=7\n", 3, "no quote: as it was"},
      {"priority= \"7\"\n", 3, "a blank before the quote: as it was"},
      {"priority=\n", 3, "nothing: as it was"},
      {"priority=", 3, "not even a line end: as it was"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.priority, scan({"priority=\"3\"\n", row.line}).priority) << row.reason;
  }
}

// --- against the platform ---

class RandomLines {
 public:
  explicit RandomLines(unsigned seed) : m_random(seed) {}

  // A random line: usually a key first, then a value of any characters, then an end. It has at most
  // 255 characters, like the pieces read from a file.
  std::string next() {
    static const std::vector<std::string> starts{
        "id=\"",   "id=\"",        "name=\"",  "name=\"", "user=\"",     "user=\"", "priority=\"",
        "id=",     "priority=",    "user= ",   "name='",  " id=\"",      "",        "priority=\" ",
        "id=\"\"", "priority=\"-", "user=\"=", "name",    "priority=\"+"};
    std::string line = starts[below(starts.size())];
    const std::size_t length = below(below(20) == 0 ? 300 : 12);
    while (line.size() < length) {
      line += character();
    }
    line += std::vector<std::string>{"\"\n", "\n", "", "\""}[below(4)];
    return line.substr(0, 255);
  }

 private:
  std::size_t below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_random);
  }

  char character() {
    static const std::string usual = "aZ09 ]_.,@$%#&*()[{}|/\\^;:-abcxyzABCXYZ1234567890123456789";
    return below(8) == 0 ? static_cast<char>(below(256)) : usual[below(usual.size())];
  }

  std::mt19937 m_random;
};

TEST(JobFileScannerTest, RandomLinesScanAsThePlatformScansThem) {
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    RandomLines lines(seed);
    JobFileScanner scanner;
    PlatformJobFile platform;
    for (int i = 0; i < 20; ++i) {
      const std::string line = lines.next();
      scanner.scanLine(line.c_str());
      platform.scanLine(line.c_str());
      ASSERT_EQ(shown(platform), shown(scanner.fields()))
          << "seed " << seed << ", line " << i << ": " << testing::PrintToString(line);
    }
  }
}

}  // namespace
