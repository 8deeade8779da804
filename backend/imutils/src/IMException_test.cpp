#include "IMException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <sstream>
#include <type_traits>

namespace {

using brix::imutils::IMAssertionException;
using brix::imutils::IMException;
using brix::imutils::IMIOException;
using brix::imutils::IMTimeoutException;

std::string rendered(IMException& exception) {
  std::string text = "contents from before";
  exception.toString(text);
  return text;
}

std::string rendered(IMException&& exception) {
  return rendered(exception);
}

std::string printedToFile(IMException& exception) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
  exception.print(file.get());
  std::rewind(file.get());
  std::array<char, 4096> text{};
  return {text.data(), std::fread(text.data(), 1, text.size(), file.get())};
}

TEST(IMExceptionTest, DefaultConstructedHasCode1AndMessageUnknownException) {
  EXPECT_EQ("Unknown exception", IMException().getMessage());
  EXPECT_EQ("Unknown Exception: [1] Unknown exception", rendered(IMException()));
}

TEST(IMExceptionTest, CodeAloneLeavesTheMessageEmpty) {
  EXPECT_EQ("", IMException(7).getMessage());
  EXPECT_EQ("Unknown Exception: [7] ", rendered(IMException(7)));
  EXPECT_EQ("Unknown Exception: [0] ", rendered(IMException(0)));
}

TEST(IMExceptionTest, FormatAloneHasCode1) {
  EXPECT_EQ("Unknown Exception: [1] file a of 3", rendered(IMException("file %s of %d", "a", 3)));
}

TEST(IMExceptionTest, CodeAndFormat) {
  EXPECT_EQ("Unknown Exception: [42] file a of 3",
            rendered(IMException(42, "file %s of %d", "a", 3)));
}

TEST(IMExceptionTest, CodeAndTextTakesTheTextAsItIs) {
  EXPECT_EQ("Unknown Exception: [42] 100%s", rendered(IMException(42, std::string("100%s"))));
}

TEST(IMExceptionTest, NegativeCodeRendersWithItsSign) {
  EXPECT_EQ("Unknown Exception: [-1] ", rendered(IMException(-1)));
  EXPECT_EQ("Unknown Exception: [-2147483648] ", rendered(IMException(-2147483647 - 1)));
}

TEST(IMExceptionTest, FormattedMessageIsCutTo1023Characters) {
  const std::string text(2000, 'x');
  EXPECT_EQ(std::string(1023, 'x'), IMException("%s", text.c_str()).getMessage());
  EXPECT_EQ(std::string(1023, 'x'), IMException(3, "%s", text.c_str()).getMessage());
  EXPECT_EQ(std::string(1023, 'x'),
            IMAssertionException("e", 1, "f", "%s", text.c_str()).getMessage());
}

TEST(IMExceptionTest, FormattedMessageOf1023CharactersIsWhole) {
  const std::string text(1023, 'x');
  EXPECT_EQ(text, IMException("%s", text.c_str()).getMessage());
}

TEST(IMExceptionTest, TextMessageIsNotCut) {
  const std::string text(2000, 'x');
  EXPECT_EQ(text, IMException(3, text).getMessage());
  EXPECT_EQ(text, IMIOException(3, text).getMessage());
  EXPECT_EQ(text, IMTimeoutException(3, text).getMessage());
}

TEST(IMExceptionTest, NullFormatIsAnEmptyMessage) {
  const char* format = nullptr;  // passed through make_unique, so the compiler does not warn
  EXPECT_EQ("Unknown Exception: [1] ", rendered(*std::make_unique<IMException>(format)));
  EXPECT_EQ("Unknown Exception: [5] ", rendered(*std::make_unique<IMException>(5, format)));
}

TEST(IMExceptionTest, FormattingThatFailsLeavesWhatWasWrittenBefore) {
  const std::array<wchar_t, 2> notACharacter{static_cast<wchar_t>(0x7fffffff), 0};
  EXPECT_EQ("", IMException("%ls", notACharacter.data()).getMessage());
  EXPECT_EQ("file a: ", IMException("file %s: %ls.", "a", notACharacter.data()).getMessage());
  EXPECT_EQ(
      "file a: ",
      IMAssertionException("e", 1, "f", "file %s: %ls.", "a", notACharacter.data()).getMessage());
}

TEST(IMExceptionTest, FormattedMessageAbove2GBIsCutTo1023Characters) {
  const volatile int width = 2147483640;  // so the compiler does not warn
  EXPECT_EQ("a" + std::string(1022, ' '), IMException("a%*d%*d", width, 1, 9, 1).getMessage());
  EXPECT_EQ("a" + std::string(1022, ' '), IMException(3, "a%*d%*d", width, 1, 9, 1).getMessage());
}

TEST(IMExceptionTest, OneArgumentConstructorsConvert) {
  const auto messageOf = [](const IMException& exception) { return exception.getMessage(); };
  EXPECT_EQ("", messageOf(7));
  EXPECT_EQ("text", messageOf("text"));
}

TEST(IMExceptionTest, EachKindRendersWithItsOwnPrefix) {
  EXPECT_EQ("Timeout Exception: [1] Semaphore timed out",
            rendered(IMTimeoutException(1, "Semaphore timed out")));
  EXPECT_EQ("IO Exception: [2] Creating semaphore failed: x [No such file or directory]",
            rendered(IMIOException(2, "Creating semaphore failed: x [No such file or directory]")));
}

TEST(IMExceptionTest, AssertionWithoutDetailRendersItsLineAlone) {
  IMAssertionException exception("value", 48, "p");
  EXPECT_EQ("ASSERT (value) in p at line 48.", rendered(exception));
  EXPECT_EQ("ASSERT (value) in p at line 48.", exception.getMessage());
}

TEST(IMExceptionTest, AssertionWithDetailRendersLineAndDetail) {
  IMAssertionException exception("f", 122, "p", "could not open %s in IMProperties::write",
                                 "/tmp/x");
  EXPECT_EQ("ASSERT (f) in p at line 122.\ncould not open /tmp/x in IMProperties::write",
            rendered(exception));
  EXPECT_EQ("could not open /tmp/x in IMProperties::write", exception.getMessage());
}

TEST(IMExceptionTest, AssertionWithAnEmptyDetailStillRendersTwoLines) {
  EXPECT_EQ("ASSERT (f) in p at line 1.\n", rendered(IMAssertionException("f", 1, "p", "%s", "")));
}

TEST(IMExceptionTest, AssertionLineNumberIs64BitsWide) {
  EXPECT_EQ("ASSERT (e) in f at line 9223372036854775807.",
            rendered(IMAssertionException("e", 9223372036854775807L, "f")));
  EXPECT_EQ("ASSERT (e) in f at line -1.", rendered(IMAssertionException("e", -1, "f")));
}

TEST(IMExceptionTest, AssertionTextsAreNotCut) {
  const std::string text(3000, 'x');
  EXPECT_EQ("ASSERT (" + text + ") in " + text + " at line 1.",
            rendered(IMAssertionException(text.c_str(), 1, text.c_str())));
}

TEST(IMExceptionTest, NullTextsOfAnAssertionAreEmpty) {
  const char* absent = nullptr;
  EXPECT_EQ("ASSERT () in  at line 3.", rendered(IMAssertionException(absent, 3, absent)));
  EXPECT_EQ("ASSERT () in  at line 3.\n",
            rendered(*std::make_unique<IMAssertionException>(absent, 3, absent, absent)));
}

TEST(IMExceptionTest, ToStringReturnsAnArrayOfTheCaller) {
  IMIOException exception(2, "gone");
  const std::unique_ptr<char[]> text(exception.toString());
  EXPECT_STREQ("IO Exception: [2] gone", text.get());
}

TEST(IMExceptionTest, ToStringOfEveryKindUsesItsOwnRendering) {
  IMTimeoutException timeout(1, "t");
  IMAssertionException assertion("e", 1, "f");
  const std::unique_ptr<char[]> timeoutText(timeout.toString());
  const std::unique_ptr<char[]> assertionText(assertion.toString());
  EXPECT_STREQ("Timeout Exception: [1] t", timeoutText.get());
  EXPECT_STREQ("ASSERT (e) in f at line 1.", assertionText.get());
}

TEST(IMExceptionTest, ToStringIsCutAtAnEmbeddedNul) {
  IMException exception(1, std::string("a\0b", 3));
  const std::unique_ptr<char[]> text(exception.toString());
  EXPECT_STREQ("Unknown Exception: [1] a", text.get());
  EXPECT_EQ(std::string("Unknown Exception: [1] a\0b", 26), rendered(exception));
}

TEST(IMExceptionTest, PrintToFileWritesTheTextAndOneLineFeed) {
  IMTimeoutException timeout(1, "Semaphore timed out");
  EXPECT_EQ("Timeout Exception: [1] Semaphore timed out\n", printedToFile(timeout));
  IMAssertionException assertion("f", 122, "p", "detail");
  EXPECT_EQ("ASSERT (f) in p at line 122.\ndetail\n", printedToFile(assertion));
}

TEST(IMExceptionTest, PrintToFileDoesNotReadTheMessageAsAFormat) {
  IMException exception(1, std::string("100% %s %n"));
  EXPECT_EQ("Unknown Exception: [1] 100% %s %n\n", printedToFile(exception));
}

TEST(IMExceptionTest, PrintToNoFileDoesNothing) {
  FILE* absent = nullptr;
  EXPECT_NO_THROW(IMException().print(absent));
}

class CountingBuffer : public std::stringbuf {
 public:
  int flushes = 0;

 private:
  int sync() override {
    ++flushes;
    return std::stringbuf::sync();
  }
};

TEST(IMExceptionTest, PrintToStreamWritesTheTextAndAnEndOfLineAndFlushes) {
  CountingBuffer buffer;
  IMIOException(2, "gone").print(std::ostream(&buffer));
  EXPECT_EQ("IO Exception: [2] gone\n", buffer.str());
  EXPECT_EQ(1, buffer.flushes);
}

TEST(IMExceptionTest, HandlerForStandardExceptionsDoesNotCatchTheFamily) {
  EXPECT_FALSE((std::is_base_of_v<std::exception, IMException>));
  for (int kind = 0; kind < 3; ++kind) {
    try {
      switch (kind) {
        case 0:
          throw IMTimeoutException(1, "t");
        case 1:
          throw IMIOException(1, "i");
        default:
          throw IMAssertionException("e", 1, "f");
      }
    } catch (const std::exception&) {
      ADD_FAILURE() << "kind " << kind;
    } catch (IMException&) {
      SUCCEED();
    }
  }
}

TEST(IMExceptionTest, CaughtByReferenceRendersAsThrown) {
  try {
    throw IMIOException(13, "Creating semaphore failed: x [Permission denied]");
  } catch (IMException& exception) {
    EXPECT_EQ("IO Exception: [13] Creating semaphore failed: x [Permission denied]",
              rendered(exception));
  }
}

TEST(IMExceptionTest, CopyIsIndependentOfTheOriginal) {
  auto original = std::make_unique<IMAssertionException>("e", 1, "f", "detail %d", 5);
  IMAssertionException copy(*original);
  original.reset();
  EXPECT_EQ("ASSERT (e) in f at line 1.\ndetail 5", rendered(copy));
}

TEST(IMExceptionTest, GlobalFlagsAreFalseAndOneByteEach) {
  EXPECT_FALSE(g_imVerbose);
  EXPECT_FALSE(g_imDebug);
  EXPECT_EQ(1U, sizeof(g_imVerbose));
  EXPECT_EQ(1U, sizeof(g_imDebug));
}

}  // namespace
