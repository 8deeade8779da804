#include "ParserMistake.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "OneLine.h"
#include "ShellWord.h"

namespace velmo::cli {

namespace {

using Options = std::vector<const CLI::Option*>;

std::string shown(const std::string& argument) {
  return tools::shellWord(tools::oneLine(argument));
}

// The innermost command that the command line names.
const CLI::App& chosenOf(const CLI::App& app) {
  const CLI::App* chosen = &app;
  while (!chosen->get_subcommands().empty()) {
    chosen = chosen->get_subcommands().back();
  }
  return *chosen;
}

const CLI::Option* optionNamed(const CLI::App& app, const std::string& name) {
  for (const CLI::Option* option : app.get_options()) {
    if (!name.empty() && option->get_name() == name) {
      return option;
    }
  }
  return nullptr;
}

// The options that the parser's text names, in its order. The exception has them in no other form.
Options optionsIn(const std::string& text, const CLI::App& app) {
  Options options;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find_first_of(" :", begin), text.size());
    if (const auto* option = optionNamed(app, text.substr(begin, end - begin))) {
      options.push_back(option);
    }
    begin = end + 1;
  }
  return options;
}

std::string textOfExtras(const CLI::App& app) {
  const std::vector<std::string> extras = app.remaining(true);
  if (extras.empty()) {
    return "";
  }
  const std::string& first = extras.front();
  const bool isOption = first.size() > 1 && first.front() == '-';
  return (isOption ? "not an option: " : "not expected: ") + shown(first);
}

std::string textOfMismatch(const CLI::Option& option) {
  if (option.count() == 0) {
    return option.get_name() + " needs a value, " + option.get_type_name();
  }
  return option.get_name() + " is given twice";
}

// Of two options that contradict each other, or of which the first needs the second.
std::string textOfPair(const Options& options, const char* relation) {
  return options.front()->get_name() + relation + options.at(1)->get_name();
}

// Empty: the parser has an exception that the options of this tool do not raise.
std::string ownText(const CLI::App& app, const CLI::ParseError& mistake) {
  if (dynamic_cast<const CLI::ExtrasError*>(&mistake) != nullptr) {
    return textOfExtras(app);
  }
  const Options options = optionsIn(mistake.what(), chosenOf(app));
  if (options.empty()) {
    return "";
  }
  const CLI::Option& option = *options.front();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&mistake) != nullptr) {
    return textOfMismatch(option);
  }
  if (dynamic_cast<const CLI::ConversionError*>(&mistake) != nullptr && option.count() > 0) {
    return option.get_name() + ": not a valid number: " + shown(option.results().back());
  }
  if (dynamic_cast<const CLI::RequiredError*>(&mistake) != nullptr) {
    return option.get_name() + " is missing";
  }
  if (dynamic_cast<const CLI::RequiresError*>(&mistake) != nullptr && options.size() > 1) {
    return textOfPair(options, " needs ");
  }
  if (dynamic_cast<const CLI::ExcludesError*>(&mistake) != nullptr && options.size() > 1) {
    return textOfPair(options, " cannot be combined with ");
  }
  return "";
}

}  // namespace

std::string textOf(const CLI::App& app, const CLI::ParseError& mistake) {
  const std::string text = ownText(app, mistake);
  return text.empty() ? tools::oneLine(mistake.what()) : text;
}

}  // namespace velmo::cli
