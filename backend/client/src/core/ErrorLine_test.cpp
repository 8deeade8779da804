#include "ErrorLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libintl.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "Environment.h"
#include "ReplacedAllocation.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::ErrorMessage;
using velmo::client::ErrorTexts;
using velmo::client::writeErrorLine;

constexpr std::size_t kLongest = 991;

struct Line {
  std::string_view prefix;
  std::string_view format;
  ErrorTexts texts;
  int systemError = 0;
  std::string_view remedy = {};
};

std::string written(const Line& line) {
  ErrorMessage message;
  std::memset(message, 0x55, sizeof message);
  writeErrorLine(message, {line.prefix, line.format, line.remedy}, line.texts, line.systemError);
  const std::size_t length = strnlen(message, sizeof message);
  EXPECT_LT(length, sizeof message) << "no NUL";
  return {message, length};
}

std::string times(std::size_t count, char character) {
  std::string text;
  text.assign(count, character);
  return text;
}

// The escapes of a line, each of which must be whole, replaced by a dot.
std::string withoutEscapes(std::string line) {
  for (std::size_t at = 0; (at = line.find('\\', at)) != std::string::npos;) {
    const std::string escape = line.substr(at, 4);
    EXPECT_THAT(escape, testing::MatchesRegex("\\\\x[0-9A-F][0-9A-F]"));
    line.replace(at, escape.size(), "?");
  }
  return line;
}

TEST(ErrorLineTest, PlaceholdersStandForTheTexts) {
  EXPECT_EQ("[c] a and b, a", written({"[{3}] ", "{1} and {2}, {1}", {"a", "b", "c"}}));
}

TEST(ErrorLineTest, OtherBracesStay) {
  EXPECT_EQ("{0}{4}{x}{1{}1}{", written({"", "{0}{4}{x}{1{}1}{", {"a", "b", "c"}}));
}

TEST(ErrorLineTest, PlaceholderInATextStays) {
  EXPECT_EQ("{2} b", written({"", "{1} {2}", {"{2}", "b", ""}}));
}

TEST(ErrorLineTest, MissingTextsAreEmpty) {
  EXPECT_EQ("<>", written({{}, "<{1}{2}{3}>", {}}));
  EXPECT_EQ("", written({}));
}

TEST(ErrorLineTest, ReasonOfTheSystemFollows) {
  EXPECT_EQ("cannot read \"f\": No such file or directory",
            written({"", "cannot read \"{1}\"", {"f"}, ENOENT}));
}

TEST(ErrorLineTest, ReasonOfAnUnknownNumberIsTheNumber) {
  EXPECT_EQ("f: Unknown error 4242", written({"", "f", {}, 4242}));
  EXPECT_EQ("f: Unknown error -2147483648", written({"", "f", {}, INT32_MIN}));
  EXPECT_EQ("f: Unknown error 41", written({"", "f", {}, 41}));
}

TEST(ErrorLineTest, RemedyFollowsTheReason) {
  EXPECT_EQ("no f; make f", written({"", "no {1}", {"f"}, 0, "make {1}"}));
  EXPECT_EQ("no f: Permission denied; make f", written({"", "no {1}", {"f"}, EACCES, "make {1}"}));
}

TEST(ErrorLineTest, RemedyIsNeverCut) {
  EXPECT_EQ(times(482, 'a') + "..." + times(482, 'a') + ": File exists; delete it",
            written({"", "{1}", {times(1000, 'a')}, EEXIST, "delete it"}));
}

TEST(ErrorLineTest, OnlyPrintableAsciiWithoutBackslashIsWrittenAsItIs) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (unsigned byte = 0; byte < 256; ++byte) {
    const char character = static_cast<char>(byte);
    const bool isPlain = byte >= 0x20 && byte < 0x7F && byte != 0x5C;
    const std::string expected = isPlain
                                     ? std::string(1, character)
                                     : std::string("\\x") + kDigits[byte / 16] + kDigits[byte % 16];
    EXPECT_EQ("<" + expected + ">", written({"", "<{1}>", {std::string_view(&character, 1)}}));
  }
}

TEST(ErrorLineTest, LineThatFitsExactlyIsNotCut) {
  const std::string text = times(kLongest - 4, 'x');
  EXPECT_EQ("<" + text + ">..", written({"<", "{1}>..", {text}}));
  const std::string escapes = times((kLongest - 3) / 4, '\n');
  EXPECT_EQ(kLongest, written({"", "123{1}", {escapes}}).size());
  EXPECT_THAT(written({"", "123{1}", {escapes}}), testing::Not(testing::HasSubstr(".")));
}

TEST(ErrorLineTest, TextThatIsTooLongIsCutInItsMiddle) {
  const std::string text = times(500, 'a') + times(500, 'b');
  EXPECT_EQ(times(494, 'a') + "..." + times(494, 'b'), written({"", "{1}", {text}}));
  EXPECT_EQ("<" + times(493, 'a') + "..." + times(493, 'b') + ">", written({"<", "{1}>", {text}}));
  EXPECT_EQ("<" + times(493, 'a') + "..." + times(494, 'b'), written({"<", "{1}", {text}}));
}

TEST(ErrorLineTest, OneByteTooMuchIsCut) {
  const std::string text = times(496, 'a') + times(496, 'b');
  EXPECT_EQ(times(494, 'a') + "..." + times(494, 'b'), written({"", "{1}", {text}}));
}

TEST(ErrorLineTest, EscapeIsNeverCut) {
  for (std::size_t shift = 0; shift < 10; ++shift) {
    const std::string text = times(shift, 'a') + times(400, '\t') + times(shift, 'b');
    const std::string line = written({times(shift, '.'), "{1}", {text}});
    EXPECT_LE(line.size(), kLongest);
    EXPECT_GE(line.size(), kLongest - 3);
    EXPECT_THAT(withoutEscapes(line), testing::MatchesRegex("\\.*a*\\?+\\.\\.\\.\\?+b*"));
  }
}

TEST(ErrorLineTest, FormatsAndReasonAreNeverCut) {
  const std::string line = written(
      {"prefix \"{3}\": ", "format \"{1}\" {2}", {times(3000, 'a'), times(3000, 'b'), "c"}, EXDEV});
  EXPECT_EQ(kLongest, line.size());
  EXPECT_THAT(line, testing::MatchesRegex("prefix \"c\": format \"a+\\.\\.\\.a+\" b+\\.\\.\\.b+: "
                                          "Invalid cross-device link"));
}

TEST(ErrorLineTest, TwoLongTextsShareTheRoom) {
  const std::string half = times(246, 'a') + "..." + times(246, 'a');
  EXPECT_EQ(half + "|" + times(246, 'b') + "..." + times(246, 'b'),
            written({"", "{1}|{2}", {times(992, 'a'), times(100'000, 'b')}}));
}

TEST(ErrorLineTest, ShortTextIsKeptWholeBesideALongOne) {
  const std::string shorter = times(400, 'a');
  EXPECT_EQ(shorter + times(294, 'b') + "..." + times(294, 'b'),
            written({"", "{1}{2}", {shorter, times(1000, 'b')}}));
  EXPECT_EQ(times(294, 'b') + "..." + times(294, 'b') + shorter,
            written({"", "{1}{2}", {times(1000, 'b'), shorter}}));
}

TEST(ErrorLineTest, ThreeLongTextsShareTheRoom) {
  const std::string line =
      written({"{3}", "{2}{1}", {times(991, 'a'), times(992, 'b'), times(993, 'c')}});
  EXPECT_EQ(times(163, 'c') + "..." + times(164, 'c') + times(163, 'b') + "..." + times(164, 'b') +
                times(163, 'a') + "..." + times(164, 'a'),
            line);
}

TEST(ErrorLineTest, TextThatIsUsedTwiceIsCutTwice) {
  const std::string cut = times(245, 'a') + "..." + times(246, 'a');
  EXPECT_EQ(cut + "|" + cut + "|.", written({"", "{1}|{1}|.", {times(991, 'a')}}));
}

TEST(ErrorLineTest, RoomThatIsTooSmallForTheMarkIsNotExceeded) {
  for (std::size_t room = 0; room <= 4; ++room) {
    const std::string prefix = times(kLongest - 1 - room, '-');
    EXPECT_EQ(prefix + std::string("...a").substr(0, room) + ">",
              written({prefix, "{1}>", {times(100, 'a')}}));
  }
}

TEST(ErrorLineTest, NothingIsWrittenBeyondTheMessage) {
  EXPECT_EQ(times(kLongest, '-'), written({times(2000, '-'), "{1}", {"a"}, ENOENT}));
}

TEST(ErrorLineTest, LineNeedsNoMemory) {
  const std::string text = times(5000, '\n');
  ErrorMessage message;
  const long before = velmo::test::g_made;
  for (int systemError = 0; systemError < 200; ++systemError) {
    writeErrorLine(message, {"{3}", "{1}{2}", ""}, {text, text, text}, systemError);
  }
  EXPECT_EQ(before, velmo::test::g_made);
}

// A catalogue of messages with one translation, in the binary format that gettext() reads.
std::string catalogueOf(const std::string& text, const std::string& translation) {
  constexpr std::uint32_t kHeaderSize = 28;
  constexpr std::uint32_t kTextsAt = kHeaderSize + 16;
  const auto textSize = static_cast<std::uint32_t>(text.size());
  const auto translationSize = static_cast<std::uint32_t>(translation.size());
  const std::array<std::uint32_t, 11> numbers{0x950412de,
                                              0,                // revision
                                              1,                // texts
                                              kHeaderSize,      // their table
                                              kHeaderSize + 8,  // the table of translations
                                              0,                // no hash table
                                              kTextsAt,
                                              textSize,
                                              kTextsAt,
                                              translationSize,
                                              kTextsAt + textSize + 1};
  const std::string tables(reinterpret_cast<const char*>(numbers.data()), sizeof numbers);
  return tables + text + '\0' + translation + '\0';
}

// Makes the C library translate ENOENT, until the object is destroyed. It translates nothing in the
// locales that every machine has, so one of them gets another name.
class TranslatedErrors {
 public:
  TranslatedErrors() {
    std::filesystem::create_directory_symlink("/usr/lib/locale/C.utf8",
                                              m_directory.path("xx_XX.UTF-8"));
    m_environment.set("LOCPATH", m_directory.path());
    m_directory.makeDirectory("xx/LC_MESSAGES");
    m_directory.writeFile("xx/LC_MESSAGES/libc.mo",
                          catalogueOf("No such file or directory", "Keine Datei"));
    m_environment.set("LANGUAGE", "xx");
    std::setlocale(LC_ALL, "xx_XX.UTF-8");
    bindtextdomain("libc", m_directory.path().c_str());
  }

  TranslatedErrors(const TranslatedErrors&) = delete;
  TranslatedErrors& operator=(const TranslatedErrors&) = delete;

  ~TranslatedErrors() {
    bindtextdomain("libc", m_before.c_str());
    std::setlocale(LC_ALL, "C");
  }

 private:
  velmo::test::TemporaryDirectory m_directory;
  velmo::test::Environment m_environment;
  std::string m_before = bindtextdomain("libc", nullptr);
};

TEST(ErrorLineTest, ReasonIsEnglishInAProgramOfAnyLanguage) {
  const TranslatedErrors translated;
  ASSERT_STREQ("Keine Datei", std::strerror(ENOENT));
  EXPECT_EQ("f: No such file or directory", written({"", "f", {}, ENOENT}));
  EXPECT_STREQ("Keine Datei", std::strerror(ENOENT));
}

}  // namespace
