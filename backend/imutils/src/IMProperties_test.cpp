#include "IMProperties.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "IMException.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::IMAssertionException;
using brix::imutils::IMProperties;
using brix::imutils::IMProperty;
using velmo::test::openDescriptors;
using velmo::test::readFile;
using velmo::test::TemporaryDirectory;

constexpr const char* kNull = nullptr;

class IMPropertiesTest : public testing::Test {
 protected:
  bool load(const std::string& contents) {
    return properties.load(directory.writeFile("in.cfg", contents).c_str());
  }

  // The entries in order, as write() writes them.
  std::string entries() {
    const std::string file = directory.path("out.cfg");
    EXPECT_TRUE(properties.write(file.c_str()));
    return readFile(file);
  }

  std::string entriesOf(const std::string& contents) {
    properties.clear();
    EXPECT_TRUE(load(contents));
    return entries();
  }

  TemporaryDirectory directory;
  IMProperties properties;
};

template <typename Call>
std::string assertionOf(Call call) {
  try {
    call();
  } catch (IMAssertionException& exception) {
    std::string text;
    exception.toString(text);
    return text;
  }
  return "no assertion";
}

// The rendered line of an assertion of this unit: expression, source path, line.
testing::Matcher<std::string> assertionLine(const std::string& expression, int line) {
  return testing::Eq("ASSERT (" + expression +
                     ") in backend/imutils/src/IMProperties.cpp at line " + std::to_string(line) +
                     ".");
}

// --- IMProperty ---

TEST(IMPropertyTest, KeepsCopiesOfBothTexts) {
  std::string texts = "name.value";
  texts[4] = '\0';
  const IMProperty property(texts.data(), texts.data() + 5);
  texts.assign(10, 'x');
  EXPECT_STREQ("name", property.getName());
  EXPECT_STREQ("value", property.getValue());
}

TEST(IMPropertyTest, CopyIsDeep) {
  auto original = std::make_unique<IMProperty>("name", "value");
  const IMProperty copy(*original);
  original->setValue("changed");
  original.reset();
  EXPECT_STREQ("name", copy.getName());
  EXPECT_STREQ("value", copy.getValue());
}

TEST(IMPropertyTest, IsNotAssignable) {
  EXPECT_FALSE(std::is_copy_assignable_v<IMProperty>);
  EXPECT_FALSE(std::is_copy_assignable_v<IMProperties>);
}

TEST(IMPropertyTest, CopyReturnsAnArrayOfTheCaller) {
  const std::unique_ptr<char[]> text(IMProperty::copy("text"));
  EXPECT_STREQ("text", text.get());
  const std::unique_ptr<char[]> empty(IMProperty::copy(""));
  EXPECT_STREQ("", empty.get());
}

TEST(IMPropertyTest, SetValueReplacesTheValue) {
  IMProperty property("name", "short");
  property.setValue("a longer value than before");
  EXPECT_STREQ("a longer value than before", property.getValue());
  EXPECT_STREQ("name", property.getName());
}

TEST(IMPropertyTest, SetValueTakesItsOwnValue) {
  IMProperty property("name", "value");
  property.setValue(property.getValue());
  EXPECT_STREQ("value", property.getValue());
  property.setValue(property.getValue() + 2);
  EXPECT_STREQ("lue", property.getValue());
}

TEST(IMPropertyTest, NullValueIsRejectedAndTheOldOneStays) {
  IMProperty property("name", "value");
  EXPECT_THAT(assertionOf([&] { property.setValue(kNull); }), assertionLine("value", 48));
  EXPECT_STREQ("value", property.getValue());
}

TEST(IMPropertyTest, NullTextIsRejectedByCopyAndConstructor) {
  EXPECT_THAT(assertionOf([] { IMProperty::copy(kNull); }), assertionLine("str", 58));
  EXPECT_THAT(assertionOf([] { const IMProperty property(kNull, "v"); }), assertionLine("str", 58));
  EXPECT_THAT(assertionOf([] { const IMProperty property("n", kNull); }), assertionLine("str", 58));
}

// --- load: the file format ---

TEST_F(IMPropertiesTest, LoadReadsEachLineByTheRules) {
  const std::vector<std::array<std::string, 3>> rows{
      {"a=b\n", "a=\"b\"\n", "name and value"},
      {"a=b", "a=\"b\"\n", "no line end at the end of the file"},
      {"a=b\r\nc=d\r\n", "a=\"b\"\nc=\"d\"\n", "carriage return and line feed"},
      {" \t\v\f\r a \t = \t b c \v\n", "a=\"b c\"\n", "white space around name and value is cut"},
      {"a=b=c\n", "a=\"b=c\"\n", "the first equals sign separates"},
      {"k=\n", "k=\"\"\n", "an empty value is kept"},
      {"k= \t \n", "k=\"\"\n", "a value of white space is an empty one"},
      {"x = 1 # note\n", "x=\"1 # note\"\n", "a number sign later in the line is of the value"},
      {"key with blanks = v\n", "key with blanks=\"v\"\n", "blanks inside a name"},
      {"x=a#b=c\n", "x=\"a#b=c\"\n", "number and equals signs in a value"},
      {"a=\"b\"\n", "a=\"b\"\n", "quotes around a value become blanks, which are cut"},
      {"a=\"a b\"\n", "a=\"a b\"\n", "a quoted value with a blank"},
      {"v=\"x \"y\" z\"\n", "v=\"x  y  z\"\n", "inner quotes become blanks and stay"},
      {"v=\" b \"\n", "v=\"b\"\n", "blanks inside the quotes are cut too"},
      {"\"n\"=v\n", "\"n\"=\"v\"\n", "quotes of a name stay"},
      {"a'b='c'\n", "a'b=\"'c'\"\n", "single quotes are nothing special"},
      {"a=\\n\\\n", "a=\"\\n\\\"\n", "no escapes, no continuation lines"},
      {"", "", "an empty file"},
      {"\n \t\n\r\n", "", "blank lines"},
      {"# x = 1\n", "", "a comment"},
      {"  # x = 1\n", "", "a comment behind blanks"},
      {"novalue\n", "", "no equals sign"},
      {"=5\n", "", "no name"},
      {" \t = 5\n", "", "a name of white space"},
      {"[section]\n", "", "no sections"},
      {"novalue\n=5\nk=1\n", "k=\"1\"\n", "a bad line does not keep the next one out"},
      {"a=1\nA=2\n", "a=\"1\"\nA=\"2\"\n", "case matters"},
      {"z=1\na=2\nm=3\n", "z=\"1\"\na=\"2\"\nm=\"3\"\n", "order of the file"},
      {"\xc3\xa4=\xc2\xa0\xff\n", "\xc3\xa4=\"\xc2\xa0\xff\"\n",
       "bytes above 127 are no white space"},
  };
  for (const auto& [contents, expected, reason] : rows) {
    EXPECT_EQ(expected, entriesOf(contents)) << reason;
  }
}

TEST_F(IMPropertiesTest, BlanksAroundTheEqualsSignBelongToNeitherNameNorValue) {
  for (const std::string line : {"k=v", "k =v", "k= v", "k = v", "k \t = \t v"}) {
    EXPECT_EQ("k=\"v\"\n", entriesOf(line + "\n")) << line;
  }
}

TEST_F(IMPropertiesTest, NameGivenTwiceKeepsItsPlaceAndTakesTheLastValue) {
  EXPECT_EQ("a=\"3\"\nb=\"2\"\n", entriesOf("a=1\nb=2\na=3\n"));
}

TEST_F(IMPropertiesTest, LoadAddsToWhatTheListHolds) {
  properties.setProperty("a", "old");
  properties.setProperty("b", "kept");
  EXPECT_TRUE(load("c=new\na=newer\n"));
  EXPECT_EQ("a=\"newer\"\nb=\"kept\"\nc=\"new\"\n", entries());
}

// What load() makes of many lines, told by the rule alone: a name keeps its first place and takes
// its last value.
std::string byTheRule(const std::vector<std::pair<std::string, std::string>>& lines) {
  std::vector<std::pair<std::string, std::string>> entries;
  for (const auto& line : lines) {
    const auto same = std::find_if(entries.begin(), entries.end(), [&line](const auto& entry) {
      return entry.first == line.first;
    });
    if (same != entries.end()) {
      same->second = line.second;
    } else {
      entries.push_back(line);
    }
  }
  std::string text;
  for (const auto& [name, value] : entries) {
    text += name + "=\"" + value + "\"\n";
  }
  return text;
}

TEST_F(IMPropertiesTest, ManyNamesKeepTheirPlacesAndTakeTheirLastValues) {
  for (const std::size_t names : {30U, 31U, 32U, 33U, 34U, 400U}) {
    std::vector<std::pair<std::string, std::string>> lines;
    std::string text;
    for (std::size_t i = 0; i < 3 * names; ++i) {
      lines.emplace_back("n" + std::to_string(i * 7919 % names), std::to_string(i));
      text += lines.back().first + "=" + lines.back().second + "\n";
    }
    EXPECT_EQ(byTheRule(lines), entriesOf(text)) << names;
  }
}

TEST_F(IMPropertiesTest, ManyNamesThatTheListHoldsKeepTheirPlaces) {
  std::string reversed;
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    const std::string name = "n" + std::to_string(i);
    properties.setProperty(name.c_str(), "old");
    reversed.insert(0, name + "=new\n");
    expected += name + "=\"new\"\n";
  }
  EXPECT_TRUE(load(reversed + "last=1\n"));
  EXPECT_EQ(expected + "last=\"1\"\n", entries());
}

TEST_F(IMPropertiesTest, LoadOfAMissingFileReturnsFalseAndChangesNothing) {
  properties.setProperty("a", "1");
  EXPECT_FALSE(properties.load(directory.path("missing").c_str()));
  EXPECT_FALSE(properties.load(""));
  EXPECT_EQ("a=\"1\"\n", entries());
}

TEST_F(IMPropertiesTest, LoadOfAnEmptyFileReturnsTrueAndAddsNothing) {
  properties.setProperty("a", "1");
  EXPECT_TRUE(load(""));
  EXPECT_EQ("a=\"1\"\n", entries());
}

TEST_F(IMPropertiesTest, DirectoryLoadsAsAnEmptyFile) {
  EXPECT_TRUE(properties.load(directory.path().c_str()));
  EXPECT_EQ("", entries());
}

TEST_F(IMPropertiesTest, LoadClosesItsFile) {
  const std::size_t before = openDescriptors();
  EXPECT_TRUE(load("a=1\n"));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(IMPropertiesTest, LineOf65535CharactersIsReadWhole) {
  const std::string value(65535 - 2, 'v');
  EXPECT_TRUE(load("a=" + value));
  EXPECT_EQ("a=\"" + value + "\"\n", entries());
}

TEST_F(IMPropertiesTest, LongerLineArrivesInPiecesThatAreLinesOfTheirOwn) {
  const std::string value(65535 - 2, 'v');
  EXPECT_TRUE(load("a=" + value + "b=2\n"));
  EXPECT_EQ("a=\"" + value + "\"\nb=\"2\"\n", entries());
}

TEST_F(IMPropertiesTest, PieceWithoutAnEqualsSignIsPassedOver) {
  EXPECT_TRUE(load("a=" + std::string(200000, 'v') + "\nb=2\n"));
  EXPECT_EQ("a=\"" + std::string(65533, 'v') + "\"\nb=\"2\"\n", entries());
}

TEST_F(IMPropertiesTest, NulEndsWhatIsReadOfALine) {
  EXPECT_TRUE(load(std::string("a=1\0b=2\nc=3\n", 12)));
  EXPECT_EQ("a=\"1\"\nc=\"3\"\n", entries());
}

TEST_F(IMPropertiesTest, FileOfNoiseAddsNothingBeyondTheRules) {
  std::string noise;
  for (unsigned i = 0; i < 300000; ++i) {
    noise += static_cast<char>((i * 2654435761U) >> 24U);
  }
  EXPECT_TRUE(load(noise));
}

// --- write ---

TEST_F(IMPropertiesTest, WriteReplacesTheFile) {
  const std::string file = directory.writeFile("out.cfg", "something much longer than the entries");
  properties.setProperty("a", "1");
  properties.setProperty("b c", "");
  EXPECT_TRUE(properties.write(file.c_str()));
  EXPECT_EQ("a=\"1\"\nb c=\"\"\n", readFile(file));
}

TEST_F(IMPropertiesTest, FilesAreOpenedInBinaryModes) {
  const velmo::test::FakeScope fakes;
  std::vector<std::string> modes;
  velmo::test::platform().fopen.setFake([&modes](const char* path, const char* mode) {
    modes.emplace_back(mode);
    return velmo::test::platform().fopen.real(path, mode);
  });
  EXPECT_TRUE(properties.write(directory.path("out.cfg").c_str()));
  EXPECT_TRUE(properties.load(directory.path("out.cfg").c_str()));
  EXPECT_THAT(modes, testing::ElementsAre("wb", "rb"));
}

TEST_F(IMPropertiesTest, WriteOfNothingIsAnEmptyFile) {
  EXPECT_EQ("", entries());
}

TEST_F(IMPropertiesTest, WriteEscapesNothing) {
  properties.setProperty("100%s", "a\"b%n\\");
  EXPECT_EQ("100%s=\"a\"b%n\\\"\n", entries());
}

TEST_F(IMPropertiesTest, WriteThenLoadGivesBackNamesValuesAndOrder) {
  for (const char* name : {"z", "a b", "m#", "\"q\""}) {
    properties.setProperty(name, (std::string("value of = # ") + name[0]).c_str());
  }
  properties.setProperty("empty", "");
  properties.setProperty("\"q\"", "no quote");
  const std::string first = entries();

  IMProperties read;
  EXPECT_TRUE(read.load(directory.path("out.cfg").c_str()));
  EXPECT_TRUE(read.write(directory.path("again.cfg").c_str()));
  EXPECT_EQ(first, readFile(directory.path("again.cfg")));
}

TEST_F(IMPropertiesTest, DoubleQuotesOfAValueComeBackAsBlanks) {
  properties.setProperty("a", "x\"y");
  entries();
  IMProperties read;
  EXPECT_TRUE(read.load(directory.path("out.cfg").c_str()));
  EXPECT_STREQ("x y", read.getProperty("a"));
}

TEST_F(IMPropertiesTest, WriteToAFileThatCannotBeOpenedThrows) {
  const std::string file = directory.path("missing/out.cfg");
  const std::string text = assertionOf([&] { properties.write(file.c_str()); });
  EXPECT_EQ("ASSERT (f) in backend/imutils/src/IMProperties.cpp at line 122.\ncould not open " +
                file + " in IMProperties::write",
            text);
}

TEST_F(IMPropertiesTest, WriteDoesNotExamineItsWrites) {
  properties.setProperty("a", "1");
  EXPECT_TRUE(properties.write("/dev/full"));
}

TEST_F(IMPropertiesTest, WriteClosesItsFile) {
  const std::size_t before = openDescriptors();
  entries();
  EXPECT_EQ(before, openDescriptors());
}

// --- entries ---

TEST_F(IMPropertiesTest, GetPropertyOfAnAbsentNameReturnsNull) {
  EXPECT_EQ(nullptr, properties.getProperty("a"));
  properties.setProperty("a", "1");
  EXPECT_EQ(nullptr, properties.getProperty("A"));
  EXPECT_EQ(nullptr, properties.getProperty(" a"));
  EXPECT_EQ(nullptr, properties.getProperty(""));
}

TEST_F(IMPropertiesTest, PointerOfGetPropertyOutlivesOtherChanges) {
  properties.setProperty("a", "1");
  const char* value = properties.getProperty("a");
  properties.setProperty("b", "2");
  properties.setProperty("b", "3");
  EXPECT_STREQ("1", value);
  EXPECT_EQ(value, properties.getProperty("a"));
}

TEST_F(IMPropertiesTest, SetPropertyChangesInPlaceOrAppends) {
  properties.setProperty("a", "1");
  properties.setProperty("b", "2");
  properties.setProperty("a", "3");
  properties.setProperty("", "empty name");
  EXPECT_EQ("a=\"3\"\nb=\"2\"\n=\"empty name\"\n", entries());
}

TEST_F(IMPropertiesTest, SetPropertyTakesAValueFromTheSameList) {
  properties.setProperty("a", "value");
  properties.setProperty("a", properties.getProperty("a") + 1);
  EXPECT_STREQ("alue", properties.getProperty("a"));
  properties.setProperty("b", properties.getProperty("a"));
  EXPECT_STREQ("alue", properties.getProperty("b"));
}

TEST_F(IMPropertiesTest, ClearRemovesAllEntries) {
  properties.setProperty("a", "1");
  properties.setProperty("b", "2");
  properties.clear();
  EXPECT_EQ("", entries());
  properties.clear();
  properties.setProperty("c", "3");
  EXPECT_EQ("c=\"3\"\n", entries());
}

TEST_F(IMPropertiesTest, CopyIsDeepAndInOrder) {
  properties.setProperty("z", "1");
  properties.setProperty("a", "2");
  const IMProperties copy(properties);
  properties.setProperty("z", "changed");
  properties.clear();
  EXPECT_STREQ("1", copy.getProperty("z"));
  EXPECT_STREQ("2", copy.getProperty("a"));
  IMProperties second(copy);
  EXPECT_TRUE(second.write(directory.path("copy.cfg").c_str()));
  EXPECT_EQ("z=\"1\"\na=\"2\"\n", readFile(directory.path("copy.cfg")));
}

// An entry that remove() unlinks is never released. The leak suppression of the sanitizer build
// names this function.
void setPropertyThatRemoveWillAbandon(IMProperties& properties, const char* name,
                                      const char* value) {
  properties.setProperty(name, value);
}

TEST_F(IMPropertiesTest, RemoveTakesTheEntryOutOfTheList) {
  properties.setProperty("a", "1");
  setPropertyThatRemoveWillAbandon(properties, "b", "2");
  properties.setProperty("c", "3");
  properties.remove("b");
  EXPECT_EQ("a=\"1\"\nc=\"3\"\n", entries());
  EXPECT_EQ(nullptr, properties.getProperty("b"));
}

TEST_F(IMPropertiesTest, RemoveLeavesTheMemoryOfTheEntryAllocated) {
  setPropertyThatRemoveWillAbandon(properties, "b", "2");
  const char* value = properties.getProperty("b");
  properties.remove("b");
  EXPECT_STREQ("2", value);
}

TEST_F(IMPropertiesTest, RemovedNameIsAppendedWhenItIsSetAgain) {
  setPropertyThatRemoveWillAbandon(properties, "a", "1");
  properties.setProperty("b", "2");
  properties.remove("a");
  properties.setProperty("a", "3");
  EXPECT_EQ("b=\"2\"\na=\"3\"\n", entries());
}

TEST_F(IMPropertiesTest, RemoveOfAnAbsentNameDoesNothing) {
  properties.remove("x");
  properties.setProperty("a", "1");
  properties.remove("x");
  EXPECT_EQ("a=\"1\"\n", entries());
}

// --- null arguments ---

TEST_F(IMPropertiesTest, NullArgumentsThrowWithExpressionFileAndLine) {
  properties.setProperty("a", "1");
  EXPECT_THAT(assertionOf([&] { properties.load(kNull); }), assertionLine("filename", 84));
  EXPECT_THAT(assertionOf([&] { properties.write(kNull); }), assertionLine("filename", 120));
  EXPECT_THAT(assertionOf([&] { properties.getProperty(kNull); }), assertionLine("name", 140));
  EXPECT_THAT(assertionOf([&] { properties.setProperty(kNull, "v"); }), assertionLine("name", 155));
  EXPECT_THAT(assertionOf([&] { properties.setProperty("a", kNull); }),
              assertionLine("value", 156));
  EXPECT_THAT(assertionOf([&] { properties.remove(kNull); }), assertionLine("name", 172));
  EXPECT_EQ("a=\"1\"\n", entries());
}

TEST_F(IMPropertiesTest, SetPropertyTestsTheNameBeforeTheValue) {
  EXPECT_THAT(assertionOf([&] { properties.setProperty(kNull, kNull); }),
              assertionLine("name", 155));
}

// --- line-parsing members ---

TEST_F(IMPropertiesTest, SkipWhiteSpacesStopsAtTheFirstOtherCharacter) {
  std::string text = " \t\n\v\f\rx ";
  EXPECT_EQ(text.data() + 6, IMProperties::skipWhiteSpaces(text.data()));
  EXPECT_EQ(text.data() + 6, IMProperties::skipWhiteSpaces(text.data() + 6));
  std::string blank = "  ";
  EXPECT_EQ(blank.data() + 2, IMProperties::skipWhiteSpaces(blank.data()));
  EXPECT_EQ(nullptr, IMProperties::skipWhiteSpaces(nullptr));
}

TEST_F(IMPropertiesTest, TrimOverwritesTheWhiteSpaceAtTheEnd) {
  std::string text = "  a b \r\n";
  char* start = IMProperties::trim(text.data());
  EXPECT_EQ(text.data() + 2, start);
  EXPECT_STREQ("a b", start);
  EXPECT_EQ(std::string("  a b\0\0\0", 8), text);
}

TEST_F(IMPropertiesTest, TrimOfWhiteSpaceAloneIsEmpty) {
  std::string blank = " \t ";
  EXPECT_STREQ("", IMProperties::trim(blank.data()));
  EXPECT_EQ(" \t ", blank);
  std::string empty;
  EXPECT_STREQ("", IMProperties::trim(empty.data()));
  EXPECT_EQ(nullptr, IMProperties::trim(nullptr));
}

TEST_F(IMPropertiesTest, ReplaceTurnsEveryCharacterInPlace) {
  std::string text = "a.b..c";
  IMProperties::replace(text.data(), '.', '-');
  EXPECT_EQ("a-b--c", text);
  IMProperties::replace(text.data(), 'x', 'y');
  EXPECT_EQ("a-b--c", text);
  IMProperties::replace(text.data(), '-', '\0');
  EXPECT_EQ(std::string("a\0b\0\0c", 6), text);
  IMProperties::replace(nullptr, 'a', 'b');
}

TEST_F(IMPropertiesTest, GetNextValueSplitsAtTheSeparator) {
  std::string text = " a ; b;c";
  char* cursor = text.data();
  EXPECT_STREQ("a", IMProperties::getNextValue(cursor, ';'));
  EXPECT_EQ(text.data() + 4, cursor);
  EXPECT_STREQ("b", IMProperties::getNextValue(cursor, ';'));
  EXPECT_STREQ("c", cursor);
}

TEST_F(IMPropertiesTest, GetNextValueWithoutSeparatorLeavesTheCursor) {
  std::string text = " a ";
  char* cursor = text.data();
  EXPECT_EQ(nullptr, IMProperties::getNextValue(cursor, ';'));
  EXPECT_EQ(text.data(), cursor);
  EXPECT_EQ(" a ", text);
}

TEST_F(IMPropertiesTest, GetNextValueHasNoSeparatorNul) {
  std::string text = "a";
  char* cursor = text.data();
  EXPECT_EQ(nullptr, IMProperties::getNextValue(cursor, '\0'));
  EXPECT_EQ(text.data(), cursor);
  char* absent = nullptr;
  EXPECT_EQ(nullptr, IMProperties::getNextValue(absent, ';'));
}

TEST_F(IMPropertiesTest, GetNextValueOfAnEmptyPieceIsEmpty) {
  std::string text = ";";
  char* cursor = text.data();
  EXPECT_STREQ("", IMProperties::getNextValue(cursor, ';'));
  EXPECT_STREQ("", cursor);
}

}  // namespace
