#include "HelpFormatter.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

TEST(HelpFormatterTest, UsageDescriptionOptionsAndFooterInThisOrder) {
  CLI::App app;
  bool flag = false;
  std::string text;
  app.description("Does something.");
  app.footer("The end.");
  app.add_flag("-f,--flag", flag, "set it");
  app.add_option("--text", text, "a text")->type_name("TEXT");
  app.formatter(std::make_shared<HelpFormatter>(
      std::vector<std::string>{"velmo do [OPTION...]", "velmo do --other"}));
  EXPECT_EQ(
      "Usage: velmo do [OPTION...]\n"
      "       velmo do --other\n"
      "\n"
      "Does something.\n"
      "\n"
      "  -h, --help   Print this help message and exit\n"
      "  -f, --flag   set it\n"
      "  --text TEXT  a text\n"
      "\n"
      "The end.\n",
      app.help());
}

TEST(HelpFormatterTest, LinesHaveAtMost80Columns) {
  CLI::App app;
  bool flag = false;
  app.set_help_flag();
  app.description("D");
  app.add_flag("--flag", flag,
               "words words words words words words words words words words words words words");
  app.formatter(std::make_shared<HelpFormatter>(std::vector<std::string>{"velmo"}));
  EXPECT_EQ(
      "Usage: velmo\n"
      "\n"
      "D\n"
      "\n"
      "  --flag  words words words words words words words words words words words\n"
      "          words words\n",
      app.help());
}

TEST(HelpFormatterTest, CommandsAreListed) {
  CLI::App app;
  app.set_help_flag();
  app.description("D");
  app.add_subcommand("one", "the first");
  app.add_subcommand("second", "the second");
  app.formatter(std::make_shared<HelpFormatter>(std::vector<std::string>{"velmo"}));
  EXPECT_EQ("Usage: velmo\n\nD\n\n  one     the first\n  second  the second\n", app.help());
}

}  // namespace
}  // namespace velmo::cli
