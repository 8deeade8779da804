#include "Fault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace velmo::standin {
namespace {

using testing::ElementsAre;

Fault faultOf(const std::string& name) {
  return std::get<Fault>(parseFault(name));
}

std::string problemOf(const std::string& name) {
  return std::get<std::string>(parseFault(name));
}

// The first words of the lines behind the heading.
std::vector<std::string> listedNames() {
  std::istringstream list(faultList());
  std::vector<std::string> names;
  for (std::string line; std::getline(list, line);) {
    names.push_back(line.substr(0, line.find(' ')));
  }
  names.erase(names.begin());
  return names;
}

TEST(FaultTest, ListNamesEveryKind) {
  EXPECT_THAT(listedNames(),
              ElementsAre("silent", "drip", "reset-after-request", "reset-after-reply",
                          "wrong-reply", "too-large", "ping-first", "masked", "close-CODE",
                          "http-503", "not-running", "stale-lock"));
}

TEST(FaultTest, EveryListedNameIsParsedAndKeptAsTheLabel) {
  for (std::string name : listedNames()) {
    if (name == "close-CODE") {
      name = "close-1008";
    }
    EXPECT_EQ("--fault " + name, labelOf(faultOf(name)));
  }
}

TEST(FaultTest, FaultsAffectRequestsTheHandshakeOrTheInstallation) {
  EXPECT_EQ(FaultPlace::kRequest, faultOf("silent").place);
  EXPECT_EQ(FaultPlace::kRequest, faultOf("close-1008").place);
  EXPECT_EQ(FaultPlace::kHandshake, faultOf("http-503").place);
  EXPECT_EQ(FaultPlace::kInstallation, faultOf("not-running").place);
  EXPECT_EQ(FaultPlace::kInstallation, faultOf("stale-lock").place);
}

TEST(FaultTest, CloseHasItsCode) {
  for (const int code : {1000, 1003, 1007, 1014, 3000, 4999}) {
    const Fault fault = faultOf("close-" + std::to_string(code));
    EXPECT_EQ(FaultKind::kClose, fault.kind);
    EXPECT_EQ(code, static_cast<int>(fault.closeCode));
  }
}

TEST(FaultTest, CodeThatACloseFrameCannotHaveIsRefused) {
  for (const std::string code : {"999", "1004", "1005", "1006", "1015", "2999", "5000", "", "CODE",
                                 "+1008", "1008x", "01008", "4294968304"}) {
    EXPECT_EQ("'close-" + code +
                  "': a close frame has a code from 1000 to 1003, 1007 to 1014 or 3000 to 4999",
              problemOf("close-" + code));
  }
}

TEST(FaultTest, UnknownAndMissingKindsAreRefused) {
  EXPECT_EQ("'quiet' is not a kind of fault; --fault help lists them", problemOf("quiet"));
  EXPECT_EQ("'Silent' is not a kind of fault; --fault help lists them", problemOf("Silent"));
  EXPECT_EQ("a kind is missing; --fault help lists them", problemOf(""));
}

}  // namespace
}  // namespace velmo::standin
