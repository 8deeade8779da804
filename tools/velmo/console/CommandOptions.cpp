#include "CommandOptions.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

#include "HelpFormatter.h"
#include "ParseNumber.h"

namespace velmo::cli {

namespace {

// @throws CLI::ConversionError  later, from the parser: the value is not a number, or does not fit
template <typename Number, typename Target>
DeclaredOption addNumberOption(CLI::App& app, const std::string& name, Target& target,
                               const std::string& description) {
  const auto take = [name, &target](const std::string& text) {
    Number number{};
    if (!parseNumber(text, number)) {
      throw CLI::ConversionError(text, name);
    }
    target = number;
  };
  return DeclaredOption(*app.add_option_function<std::string>(name, take, description));
}

}  // namespace

DeclaredOption DeclaredOption::valueName(const std::string& name) const {
  m_option->type_name(name);
  return *this;
}

DeclaredOption DeclaredOption::required() const {
  m_option->required();
  return *this;
}

DeclaredOption DeclaredOption::needs(const DeclaredOption& other) const {
  m_option->needs(other.m_option);
  return *this;
}

DeclaredOption DeclaredOption::excludes(const DeclaredOption& other) const {
  m_option->excludes(other.m_option);
  return *this;
}

DeclaredOption DeclaredOption::takes(int least, int most) const {
  m_option->expected(least, most)->allow_extra_args(false);
  return *this;
}

CommandOptions CommandOptions::addCommand(const std::string& name, const std::string& description,
                                          std::vector<std::string> usage) {
  CLI::App& app = *m_app->add_subcommand(name, description);
  m_app->require_subcommand(0, 1);  // CommandLine reports a missing one
  app.formatter(std::make_shared<HelpFormatter>(std::move(usage)));
  app.get_help_ptr()->description("print this text");
  app.footer("");  // not that of the parent
  return CommandOptions(app);
}

DeclaredOption CommandOptions::addFlag(const std::string& name, bool& target,
                                       const std::string& description) {
  return DeclaredOption(*m_app->add_flag(name, target, description));
}

DeclaredOption CommandOptions::addText(const std::string& name, std::string& target,
                                       const std::string& description) {
  return DeclaredOption(*m_app->add_option(name, target, description));
}

DeclaredOption CommandOptions::addText(const std::string& name, std::optional<std::string>& target,
                                       const std::string& description) {
  return DeclaredOption(*m_app->add_option(name, target, description));
}

DeclaredOption CommandOptions::addTexts(const std::string& name, std::vector<std::string>& target,
                                        const std::string& description) {
  return DeclaredOption(*m_app->add_option(name, target, description));
}

DeclaredOption CommandOptions::addNumber(const std::string& name, int& target,
                                         const std::string& description) {
  return addNumberOption<int>(*m_app, name, target, description);
}

DeclaredOption CommandOptions::addNumber(const std::string& name, double& target,
                                         const std::string& description) {
  return addNumberOption<double>(*m_app, name, target, description);
}

DeclaredOption CommandOptions::addNumber(const std::string& name,
                                         std::optional<std::int64_t>& target,
                                         const std::string& description) {
  return addNumberOption<std::int64_t>(*m_app, name, target, description);
}

void CommandOptions::setFooter(const std::string& text) {
  m_app->footer(text);
}

const std::string& CommandOptions::name() const {
  return m_app->get_name();
}

bool CommandOptions::isChosen() const {
  return m_app->parsed();
}

std::optional<std::string> CommandOptions::firstGiven() const {
  for (const CLI::Option* option : std::as_const(*m_app).get_options()) {
    if (option->count() > 0) {
      return option->get_name();
    }
  }
  return std::nullopt;
}

TakesValue CommandOptions::takesValue() const {
  return [app = m_app](const std::string& option) {
    const CLI::Option* known = app->get_option_no_throw(option);
    return known != nullptr && known->get_items_expected_min() > 0;
  };
}

}  // namespace velmo::cli
