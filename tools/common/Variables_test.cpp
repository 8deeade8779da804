#include "Variables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace velmo::tools {
namespace {

using testing::ElementsAre;

TEST(VariablesTest, EveryVariableIsOneExportLineInOrder) {
  EXPECT_EQ("export VAR='/a/var'\nexport CONF='/a/conf'\n",
            exportLines({{"VAR", "/a/var"}, {"CONF", "/a/conf"}}));
}

TEST(VariablesTest, ExportedValueIsQuoted) {
  EXPECT_EQ("export VAR='it'\\''s $HOME'\n", exportLines({{"VAR", "it's $HOME"}}));
}

TEST(VariablesTest, VariablesReplaceThoseOfTheSameNameAndNoOthers) {
  const std::array<const char*, 5> environment{"VAR=/old", "VARIABLE=kept", "odd", "CONF=/old",
                                               nullptr};
  EXPECT_THAT(environmentWith({{"CONF", "/new/conf"}, {"VAR", "/new"}}, environment.data()),
              ElementsAre("VARIABLE=kept", "odd", "CONF=/new/conf", "VAR=/new"));
}

}  // namespace
}  // namespace velmo::tools
