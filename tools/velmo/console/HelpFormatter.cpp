#include "HelpFormatter.h"

#include <algorithm>
#include <cstddef>

#include "Wrapped.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kLongestLabel = 26;  // a longer one has a line for itself

// A label and its text.
using Entry = std::pair<std::string, std::string>;

std::string labelOf(const CLI::Option& option) {
  std::string label;
  for (const std::string& name : option.get_snames()) {
    label += (label.empty() ? "-" : ", -") + name;
  }
  for (const std::string& name : option.get_lnames()) {
    label += (label.empty() ? "--" : ", --") + name;
  }
  const std::string value = option.get_type_size() == 0 ? "" : option.get_type_name();
  return value.empty() ? label : label + " " + value;
}

std::vector<Entry> optionsOf(const CLI::App& app) {
  std::vector<Entry> entries;
  for (const CLI::Option* option : app.get_options()) {
    if (option->nonpositional() && !option->get_group().empty()) {
      entries.emplace_back(labelOf(*option), option->get_description());
    }
  }
  return entries;
}

std::vector<Entry> commandsOf(const CLI::App& app) {
  std::vector<Entry> entries;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!command->get_group().empty()) {
      entries.emplace_back(command->get_name(), command->get_description());
    }
  }
  return entries;
}

std::string listOf(const std::vector<Entry>& entries) {
  std::size_t widest = 0;
  for (const auto& [label, text] : entries) {
    widest = std::max(widest, label.size() <= kLongestLabel ? label.size() : 0);
  }
  const std::size_t indent = widest + 4;
  std::string lines;
  for (const auto& [label, text] : entries) {
    const bool isLong = label.size() > widest;
    lines += "  " + label;
    lines += isLong ? "\n" + std::string(indent, ' ') : std::string(indent - 2 - label.size(), ' ');
    lines += wrapped(text, indent, kWidth).substr(indent);
  }
  return lines;
}

}  // namespace

std::string HelpFormatter::make_help(const CLI::App* app, std::string /*name*/,
                                     CLI::AppFormatMode /*mode*/) const {
  std::string text;
  for (const std::string& usage : m_usage) {
    text += (text.empty() ? "Usage: " : "       ") + usage + "\n";
  }
  text += "\n" + wrapped(app->get_description(), 0, kWidth);
  for (const std::vector<Entry>& entries : {commandsOf(*app), optionsOf(*app)}) {
    text += entries.empty() ? "" : "\n" + listOf(entries);
  }
  const std::string footer = app->get_footer();
  return footer.empty() ? text : text + "\n" + footer + "\n";
}

}  // namespace velmo::cli
