#include "Remedy.h"

#include <utility>

#include "PasteWord.h"

namespace velmo::cli {

Remedy onlyAdvice(std::string advice, std::string look) {
  return {{}, std::move(advice), std::move(look)};
}

Remedy exported(const std::string& variable, const std::string& value) {
  const std::string word = pasteWord(value);
  const std::string advice =
      "this changes the shell that you paste it into: change the environment of the programs, too";
  return word.empty() ? onlyAdvice("set " + variable)
                      : Remedy{"export " + variable + "=" + word, advice};
}

}  // namespace velmo::cli
