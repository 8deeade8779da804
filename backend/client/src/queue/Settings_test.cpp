#include "Settings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Environment.h"
#include "ShownResult.h"

namespace {

using velmo::client::directoryOf;
using velmo::client::keyOf;
using velmo::client::pointToEnvironment;
using velmo::client::Result;
using velmo::client::Setting;
using velmo::client::Settings;
using velmo::client::takeSettings;
using velmo::test::Environment;
using velmo::test::lineOf;

const std::vector<const char*> kVariables{"VAR",
                                          "TMP",
                                          "DATA",
                                          "LOCK_VAR",
                                          "VELMO_HOME",
                                          "CONF",
                                          "SHARED_VELMO_TASKID",
                                          "SEMAPHORE_VELMO_TASKID"};

std::vector<const Setting*> all(const Settings& settings) {
  return {&settings.var,       &settings.tmp,  &settings.data,         &settings.lockVar,
          &settings.velmoHome, &settings.conf, &settings.sharedTaskId, &settings.semaphoreTaskId};
}

// --- takeSettings ---

TEST(SettingsTest, WithoutAStructTheVariablesCount) {
  Environment environment;
  for (const char* variable : kVariables) {
    environment.set(variable, std::string("/of ") + variable);
  }
  const Result<Settings> settings = takeSettings(nullptr);
  ASSERT_TRUE(settings.isOk());
  for (std::size_t i = 0; i < kVariables.size(); ++i) {
    EXPECT_STREQ(kVariables[i], all(settings.value())[i]->variable);
    EXPECT_EQ(std::string("/of ") + kVariables[i], all(settings.value())[i]->value);
  }
  EXPECT_EQ(nullptr, settings.value().stop);
}

TEST(SettingsTest, WithAStructNoVariableCounts) {
  Environment environment;
  for (const char* variable : kVariables) {
    environment.set(variable, "/environment");
  }
  volatile int stop = 0;
  velmo_settings given{};
  given.size = sizeof given;
  given.tmp = "/given";
  given.var = "";
  given.stop = &stop;
  const Result<Settings> settings = takeSettings(&given);
  ASSERT_TRUE(settings.isOk());
  for (const Setting* setting : all(settings.value())) {
    EXPECT_EQ(setting->variable == std::string("TMP") ? "/given" : "", setting->value);
  }
  EXPECT_EQ(&stop, settings.value().stop);
}

TEST(SettingsTest, EveryFieldIsTaken) {
  const velmo_settings given{sizeof given, "var",  "tmp", "data", "lock",
                             "home",       "conf", "1",   "2",    nullptr};
  const Result<Settings> settings = takeSettings(&given);
  ASSERT_TRUE(settings.isOk());
  std::vector<std::string> values;
  for (const Setting* setting : all(settings.value())) {
    values.push_back(setting->value);
  }
  EXPECT_EQ((std::vector<std::string>{"var", "tmp", "data", "lock", "home", "conf", "1", "2"}),
            values);
}

TEST(SettingsTest, WrongSizeIsRefused) {
  const velmo_settings given{};
  EXPECT_EQ("the size of velmo_settings is 0: set it to the sizeof of the struct",
            lineOf(takeSettings(&given)));
}

// --- pointToEnvironment ---

TEST(SettingsTest, VariableThatIsNotSetBecomesNullAndTheSizeStays) {
  Environment environment;
  environment.unset("VAR");
  environment.set("TMP", "");
  volatile int stop = 0;
  velmo_settings out{};
  out.size = 7;
  out.var = "old";
  out.stop = &stop;
  pointToEnvironment(out);
  EXPECT_EQ(7U, out.size);
  EXPECT_EQ(nullptr, out.var);
  EXPECT_STREQ("", out.tmp);
  EXPECT_EQ(nullptr, out.stop);
}

// --- directoryOf ---

TEST(DirectoryOfTest, AbsolutePathIsReturnedAsItIs) {
  EXPECT_EQ("/a b/", directoryOf({"VAR", "/a b/"}).value());
}

TEST(DirectoryOfTest, MissingAndRelativePathsAreRefused) {
  EXPECT_EQ("VAR is not set", lineOf(directoryOf({"VAR", ""})));
  EXPECT_EQ("TMP is not an absolute path: \"var/tmp\"", lineOf(directoryOf({"TMP", "var/tmp"})));
}

// --- keyOf ---

TEST(KeyOfTest, WholeDecimalTextIsAKey) {
  for (const int key : {1, -5, 2147483647, -2147483647 - 1}) {
    EXPECT_EQ(key, keyOf({"KEY", std::to_string(key)}).value());
  }
  EXPECT_EQ(7, keyOf({"KEY", "007"}).value());
}

TEST(KeyOfTest, OtherTextsAreRefused) {
  for (const char* text : {"0", "-0", "000", "x", "12x", " 12", "12 ", "12\n", "+12", "0x10", "1.5",
                           "2147483648", "-2147483649", "99999999999999999999", "-"}) {
    EXPECT_EQ(velmo::client::Problem::VariableNotAKey, keyOf({"KEY", text}).fault().problem)
        << text;
  }
  EXPECT_EQ("KEY is not a decimal key other than 0: \"0\"", lineOf(keyOf({"KEY", "0"})));
  EXPECT_EQ("KEY is not set", lineOf(keyOf({"KEY", ""})));
}

}  // namespace
