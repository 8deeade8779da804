#include "PasteWord.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace velmo::cli {
namespace {

// What a shell passes to a command.
std::string readByShell(const std::string& word) {
  const std::string command = "printf '%s' " + word;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "re"), pclose);
  std::string output;
  for (int byte = 0; (byte = fgetc(pipe.get())) != EOF;) {
    output += static_cast<char>(byte);
  }
  return output;
}

TEST(PasteWordTest, PrintableTextIsQuoted) {
  EXPECT_EQ("'/x/my var'", pasteWord("/x/my var"));
  EXPECT_EQ("'it'\\''s'", pasteWord("it's"));
  EXPECT_EQ("''", pasteWord(""));
}

TEST(PasteWordTest, OtherBytesAreWrittenByPrintf) {
  EXPECT_EQ("\"$(printf '/x/\\033[1m\\012y')\"", pasteWord("/x/\x1b[1m\ny"));
  EXPECT_EQ("\"$(printf '/\\303\\244')\"", pasteWord("/\xc3\xa4"));
}

TEST(PasteWordTest, ShellReadsTheTextBack) {
  for (const char* text : {"/a b", "it's", "/\x1b[1m%d\\n'\"$x`\xff\xfe", "-x\ty", "\x01\n/z",
                           "$(x)", "%s\x7f", "1\x02"}) {
    EXPECT_EQ(text, readByShell(pasteWord(text)));
  }
}

TEST(PasteWordTest, TextThatEndsWithALineFeedHasNoWord) {
  EXPECT_EQ("", pasteWord("/x\n"));
}

}  // namespace
}  // namespace velmo::cli
