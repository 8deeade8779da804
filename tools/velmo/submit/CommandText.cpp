#include "CommandText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "ShellWord.h"

namespace velmo::cli {

namespace {

// Of /bin/sh; "!", "{" and "}" are quoted anyway.
constexpr std::array<std::string_view, 13> kKeywords{"case", "do",    "done", "elif", "else",
                                                     "esac", "fi",    "for",  "if",   "in",
                                                     "then", "until", "while"};

std::string firstWord(const std::string& word) {
  const bool isSyntax = word.find('=') != std::string::npos ||
                        std::find(kKeywords.begin(), kKeywords.end(), word) != kKeywords.end();
  return isSyntax ? tools::shellQuoted(word) : tools::shellWord(word);
}

}  // namespace

std::string commandText(const std::vector<std::string>& words, const std::string& type) {
  if (words.size() == 1) {
    return words.front();
  }
  const bool isShell = type.empty() || type == "sh";
  std::string text = isShell ? firstWord(words.front()) : words.front();
  for (std::size_t i = 1; i < words.size(); ++i) {
    text += " " + (isShell ? tools::shellWord(words[i]) : words[i]);
  }
  return text;
}

}  // namespace velmo::cli
