#include "HostPort.h"

#include <gtest/gtest.h>

#include "Failure.h"

namespace velmo::cli {
namespace {

std::string refusalOf(const std::string& text) {
  try {
    parseHostPort(text);
  } catch (const Failure& failure) {
    EXPECT_EQ(Status::invalidArgument, failure.status());
    return failure.what();
  }
  return "";
}

TEST(HostPortTest, NameAndPortAreSplit) {
  const HostPort place = parseHostPort("server:8080");
  EXPECT_EQ("server", place.host);
  EXPECT_EQ(8080, place.port);
}

TEST(HostPortTest, BracketsOfAnIpv6AddressAreDropped) {
  const HostPort place = parseHostPort("[::1]:65535");
  EXPECT_EQ("::1", place.host);
  EXPECT_EQ(65535, place.port);
}

TEST(HostPortTest, Ipv6AddressWithoutBracketsIsRefusedWithAHint) {
  for (const char* text : {"::1", "::1:80", "fe80::1:8080"}) {
    EXPECT_EQ("--to \"" + std::string(text) +
                  "\": write an IPv6 address in brackets, such as [::1]:8080 (see --help)",
              refusalOf(text));
  }
}

TEST(HostPortTest, MissingPartsAreRefused) {
  for (const char* text : {"", "server", ":80", "[::1]", "[::1"}) {
    EXPECT_EQ("--to \"" + std::string(text) + "\": expected HOST:PORT (see --help)",
              refusalOf(text));
  }
}

TEST(HostPortTest, PortThatIsNotInRangeIsRefused) {
  for (const char* text : {"h:", "h:0", "h:65536", "h:+1", "h:8x", "h: 8", "h:99999999999"}) {
    EXPECT_EQ(
        "--to \"" + std::string(text) + "\": the port is not a number in 1 to 65535 (see --help)",
        refusalOf(text));
  }
}

TEST(HostPortTest, BracketsAroundANameAreRefused) {
  EXPECT_EQ("--to \"[server]:80\": brackets are for an IPv6 address (see --help)",
            refusalOf("[server]:80"));
}

TEST(HostPortTest, ControlCharactersAreNotRepeated) {
  EXPECT_EQ("--to \"a?b\": expected HOST:PORT (see --help)", refusalOf("a\x1b"
                                                                       "b"));
}

}  // namespace
}  // namespace velmo::cli
