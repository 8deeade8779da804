#include "SystemConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ModulesFile.h"

namespace {

using testing::ElementsAre;
using velmo::test::shown;

class SystemConfigTest : public velmo::test::ModulesFileTest {
 protected:
  // The machine that these children of `system` describe, as text.
  std::string inSystem(const std::string& children) const {
    return read("<system>" + children + "</system>");
  }

  // The modules of a host with these children: "[0 1]".
  std::string inHost(const std::string& children) const {
    const std::string text = inSystem("<machine><host>" + children + "</host></machine>");
    return text.substr(text.find('['), text.find(']') + 1 - text.find('['));
  }
};

// --- values ---

TEST(SystemConfigInterfaceTest, PathConverts) {
  EXPECT_TRUE((std::is_convertible_v<std::string, SystemConfig>));
}

TEST(ModuleTypeTest, NumbersAreFixedAndStoredAsInts) {
  EXPECT_EQ(0, Velmo);
  EXPECT_EQ(1, Fennick);
  EXPECT_EQ(2, Hollard);
  EXPECT_TRUE((std::is_same_v<int, std::underlying_type_t<ModuleType>>));
}

TEST(HostConfigTest, KeepsWhatItIsGiven) {
  const HostConfig host("backend", 8080, {Hollard, Velmo, Velmo});
  EXPECT_EQ("backend", host.getName());
  EXPECT_EQ(8080, host.getWebSocketPort());
  EXPECT_THAT(host.getModules(), ElementsAre(Hollard, Velmo, Velmo));
}

TEST(HostConfigTest, ChecksNothing) {
  EXPECT_EQ(":-1[]", shown(HostConfig("", -1, {})));
  EXPECT_EQ(" a :2147483647[]", shown(HostConfig(" a ", INT_MAX, {})));
}

TEST(MachineConfigTest, TakesTheIdentifierFirstAndTheHostNameSecond) {
  const MachineConfig machine("m1", "m1.example.com", 1099, {HostConfig("a", 1, {Velmo})});
  EXPECT_EQ("m1", machine.getId());
  EXPECT_EQ("m1.example.com", machine.getHostname());
  EXPECT_EQ(1099, machine.getRmiRegistryPort());
  ASSERT_EQ(1U, machine.getHosts().size());
  EXPECT_EQ("a:1[0]", shown(machine.getHosts()[0]));
}

TEST(MachineConfigTest, CopiesWhatItIsGiven) {
  std::string id = "m1";
  std::vector<HostConfig> hosts{HostConfig("a", 1, {Velmo})};
  const MachineConfig machine(id, "h", 2, hosts);
  id = "other";
  hosts.clear();
  EXPECT_EQ("m1@h:2{a:1[0]}", shown(machine));
}

TEST(MachineConfigTest, CopyIsIndependent) {
  MachineConfig machine("m1", "h", 2, {HostConfig("a", 1, {Velmo})});
  const MachineConfig copy = machine;
  machine = MachineConfig("m2", "i", 3, {});
  EXPECT_EQ("m1@h:2{a:1[0]}", shown(copy));
  EXPECT_EQ("m2@i:3{}", shown(machine));
}

TEST(MachineConfigTest, AccessorsReferToTheObject) {
  const MachineConfig machine("m1", "h", 2, {HostConfig("a", 1, {Velmo})});
  EXPECT_TRUE(std::is_lvalue_reference_v<decltype(machine.getId())>);
  EXPECT_TRUE(std::is_lvalue_reference_v<decltype(machine.getHostname())>);
  EXPECT_TRUE(std::is_lvalue_reference_v<decltype(machine.getHosts())>);
  EXPECT_TRUE(std::is_lvalue_reference_v<decltype(machine.getHosts()[0].getName())>);
  EXPECT_TRUE(std::is_lvalue_reference_v<decltype(machine.getHosts()[0].getModules())>);
}

TEST(SystemConfigClassesTest, ArePlainValues) {
  EXPECT_FALSE(std::is_polymorphic_v<HostConfig>);
  EXPECT_FALSE(std::is_polymorphic_v<MachineConfig>);
  EXPECT_FALSE(std::is_polymorphic_v<SystemConfig>);
  EXPECT_TRUE(std::is_copy_assignable_v<SystemConfig>);
  EXPECT_EQ(sizeof(std::vector<MachineConfig>), sizeof(SystemConfig));
}

TEST(SystemConfigClassesTest, DefaultPathIsInTheInstallationAndWritable) {
  const velmo::test::ModulesXmlKeeper keeper;
  EXPECT_STREQ("/home/dorvan/var/conf/modules.xml", SystemConfig::s_szModulesXml);
  EXPECT_TRUE((std::is_same_v<const char*, decltype(SystemConfig::s_szModulesXml)>));
  SystemConfig::s_szModulesXml = "other";
  EXPECT_STREQ("other", SystemConfig::s_szModulesXml);
}

// --- the whole file ---

TEST_F(SystemConfigTest, ReadsMachinesHostsAndModules) {
  EXPECT_EQ("m1@m1.example.com:1099{backend:8080[0]}", read(R"(<?xml version="1.0"?>
<system>
  <machine id="m1" hostname="m1.example.com" rmi-port="1099">
    <host name="backend" websocket-port="8080">
      <module name="velmo"/>
    </host>
  </machine>
</system>
)"));
}

TEST_F(SystemConfigTest, DocumentOrderIsKept) {
  EXPECT_EQ("c@:-1{z:-1[2 0 1] y:-1[]} a@:-1{} b@:-1{x:-1[]}", inSystem(R"(
    <machine id="c">
      <host name="z"><module name="hollard"/><module name="velmo"/><module name="fennick"/></host>
      <host name="y"/>
    </machine>
    <machine id="a"/>
    <machine id="b"><host name="x"/></machine>)"));
}

TEST_F(SystemConfigTest, EqualElementsAreKeptApart) {
  EXPECT_EQ(
      "a@:-1{} a@:-1{x:-1[] x:-1[]}",
      inSystem("<machine id='a'/><machine id='a'><host name='x'/><host name='x'/></machine>"));
}

TEST_F(SystemConfigTest, MissingAttributesAreEmptyTextsAndPortsOfMinusOne) {
  EXPECT_EQ("@:-1{:-1[]}", inSystem("<machine><host/></machine>"));
}

TEST_F(SystemConfigTest, MachinesHostsAndModulesHaveNoOtherAttributes) {
  EXPECT_EQ("@:-1{:-1[]}",
            inSystem("<machine name='a' host='b' host-name='c' port='1' websocket-port='2' Id='d'>"
                     "<host id='e' hostname='f' rmi-port='3' port='4' Name='g'>"
                     "<module id='velmo' Name='velmo'>velmo</module></host></machine>"));
}

TEST_F(SystemConfigTest, RootWithoutMachinesGivesNone) {
  EXPECT_EQ("", read("<system/>"));
  EXPECT_EQ("", read("<system></system>"));
  EXPECT_EQ("", read("<system>text</system>"));
}

TEST_F(SystemConfigTest, CopyOutlivesTheOriginal) {
  const std::string path = directory.writeFile(
      "modules.xml",
      "<system><machine id='a'><host><module name='velmo'/></host></machine></system>");
  std::vector<SystemConfig> configs;
  configs.emplace_back(path);
  const SystemConfig copy = configs[0];
  configs.clear();
  EXPECT_EQ("a@:-1{:-1[0]}", shown(copy));
}

TEST_F(SystemConfigTest, FileIsReadAnewByEveryObjectAndNotAfterwards) {
  const std::string path = directory.writeFile("modules.xml", "<system><machine id='a'/></system>");
  const SystemConfig before(path);
  directory.writeFile("modules.xml", "<system><machine id='b'/></system>");
  EXPECT_EQ("a@:-1{}", shown(before));
  EXPECT_EQ("b@:-1{}", shown(SystemConfig(path)));
}

TEST_F(SystemConfigTest, FileIsClosedAfterwards) {
  const std::string path = directory.writeFile("modules.xml", "<system/>");
  const std::size_t before = velmo::test::openDescriptors();
  const SystemConfig config(path);
  EXPECT_EQ(before, velmo::test::openDescriptors());
}

TEST_F(SystemConfigTest, DefaultPathIsNotLookedAt) {
  SystemConfig::s_szModulesXml = "nowhere.xml";
  EXPECT_EQ("a@:-1{}", inSystem("<machine id='a'/>"));
  SystemConfig::s_szModulesXml = nullptr;
  EXPECT_EQ("a@:-1{}", inSystem("<machine id='a'/>"));
}

// --- the root ---

TEST_F(SystemConfigTest, OnlyASystemThatIsTheFirstNodeHasMachines) {
  struct Row {
    std::string before;
    std::string root;
    bool counts;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"", "system", true, "nothing in front"},
      {"<?xml version='1.0' encoding='UTF-8'?>", "system", true, "the XML declaration is no node"},
      {"<?xml version='1.0'?>\n\n \t", "system", true, "nor is white space"},
      {"\n \t\n", "system", true, "nor without a declaration"},
      {"\xef\xbb\xbf", "system", true, "nor is a byte order mark"},
      {"<!-- c -->", "system", false, "a comment"},
      {"<?xml version='1.0'?><!-- c -->", "system", false, "a comment behind the declaration"},
      {"<!---->", "system", false, "an empty comment"},
      {"<?php x?>", "system", false, "a processing instruction"},
      {"<?system?>", "system", false, "one that bears the root's name"},
      {"", "systems", false, "another name"},
      {"", "System", false, "another case"},
      {"", "SYSTEM", false, "upper case"},
      {"", "syste", false, "a part of the name"},
      {"", "machine", false, "the name of something below"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.counts ? "a@:-1{}" : "",
              read(row.before + "<" + row.root + "><machine id='a'/></" + row.root + ">"))
        << row.reason;
  }
}

TEST_F(SystemConfigTest, DocumentTypeDeclarationInFrontOfSystemLeavesNoMachines) {
  for (const std::string declaration :
       {"<!DOCTYPE system>", "<!DOCTYPE system []>", "<!DOCTYPE system SYSTEM 'nowhere.dtd'>",
        "<!DOCTYPE other>", "<!DOCTYPE system><!-- c -->", "<!-- c --><!DOCTYPE system>"}) {
    EXPECT_EQ("", read(declaration + "<system><machine id='a'/></system>")) << declaration;
  }
}

TEST_F(SystemConfigTest, WhatFollowsTheRootDoesNotCount) {
  EXPECT_EQ("a@:-1{}", read("<system><machine id='a'/></system><!-- c --><?p i?>\n"));
}

TEST_F(SystemConfigTest, AttributesOfTheRootDoNotCount) {
  EXPECT_EQ("a@:-1{}", read("<system id='s' hostname='h'><machine id='a'/></system>"));
}

// --- children ---

TEST_F(SystemConfigTest, OnlyDirectChildrenCountAtEveryLevel) {
  struct Row {
    std::string children;
    std::string result;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"<group><machine id='a'/></group>", "", "a machine in a group"},
      {"<machine id='a'><machine id='b'/></machine>", "a@:-1{}", "a machine in a machine"},
      {"<host name='a'><module name='velmo'/></host>", "", "a host without a machine"},
      {"<module name='velmo'/>", "", "a module on its own"},
      {"<system><machine id='a'/></system>", "", "a system in the system"},
      {"<machine><group><host name='a'/></group></machine>", "@:-1{}", "a host in a group"},
      {"<machine><host name='a'><host name='b'/></host></machine>", "@:-1{a:-1[]}",
       "a host in a host"},
      {"<machine><module name='velmo'/></machine>", "@:-1{}", "a module in a machine"},
      {"<machine><host><group><module name='velmo'/></group></host></machine>", "@:-1{:-1[]}",
       "a module in a group"},
      {"<machine><host><module name='velmo'><module name='hollard'/></module></host></machine>",
       "@:-1{:-1[0]}", "a module in a module"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.result, inSystem(row.children)) << row.reason;
  }
}

TEST_F(SystemConfigTest, ElementsOfOtherNamesAreSkippedAtEveryLevel) {
  EXPECT_EQ("a@:-1{x:-1[0]}",
            inSystem("<Machine id='1'/><machines id='2'/><machin id='3'/><machine id='a'>"
                     "<Host name='4'/><hosts name='5'/><host name='x'>"
                     "<Module name='velmo'/><modules name='velmo'/><module name='velmo'/></host>"
                     "</machine><machine.1 id='6'/>"));
}

TEST_F(SystemConfigTest, WhatIsNoElementIsSkippedAtEveryLevel) {
  const std::string clutter =
      "text<!-- c --><?machine id='p'?><?host name='p'?><?module name='velmo'?>"
      "<![CDATA[<machine id='q'/><host name='q'/><module name='velmo'/>]]>&amp;&#65;\n ";
  EXPECT_EQ("a@:-1{x:-1[0]} b@:-1{}",
            inSystem(clutter + "<machine id='a'>" + clutter + "<host name='x'>" + clutter +
                     "<module name='velmo'>" + clutter + "</module>" + clutter + "</host>" +
                     clutter + "</machine>" + clutter + "<machine id='b'/>" + clutter));
}

TEST_F(SystemConfigTest, NamespacePrefixMakesAnElementUnknown) {
  const std::string ns = " xmlns:x='urn:x'";
  EXPECT_EQ("", read("<x:system" + ns + "><machine id='a'/></x:system>"));
  EXPECT_EQ("", read("<system" + ns + "><x:machine id='a'/></system>"));
  EXPECT_EQ("@:-1{}", inSystem("<machine" + ns + "><x:host name='a'/></machine>"));
  EXPECT_EQ("[]", inHost("<x:module" + ns + " name='velmo'/>"));
}

TEST_F(SystemConfigTest, NamespacePrefixMakesAnAttributeUnknown) {
  EXPECT_EQ("@:-1{:-1[]}",
            inSystem("<machine xmlns:x='urn:x' x:id='a' x:hostname='b' x:rmi-port='1'>"
                     "<host x:name='c' x:websocket-port='2'><module x:name='velmo'/></host>"
                     "</machine>"));
}

TEST_F(SystemConfigTest, NamespaceWithoutAPrefixChangesNothing) {
  EXPECT_EQ("a@:-1{x:-1[0]}", read("<system xmlns='urn:x'><machine id='a'>"
                                   "<host name='x'><module name='velmo'/></host>"
                                   "</machine></system>"));
}

// --- modules ---

TEST_F(SystemConfigTest, ModuleNamesCountExactly) {
  struct Row {
    std::string name;
    std::string modules;
  };
  const std::vector<Row> rows{
      {"velmo", "[0]"},   {"fennick", "[1]"}, {"hollard", "[2]"},    {"Velmo", "[]"},
      {"VELMO", "[]"},    {"velm", "[]"},     {"velmos", "[]"},      {" velmo", "[]"},
      {"velmo ", "[]"},   {"", "[]"},         {"0", "[]"},           {"Fennick", "[]"},
      {"hollard2", "[]"}, {"other", "[]"},    {"vel&#109;o", "[0]"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.modules, inHost("<module name='" + row.name + "'/>")) << row.name;
  }
}

TEST_F(SystemConfigTest, ModuleListedTwiceCountsTwice) {
  EXPECT_EQ("[0 0]", inHost("<module name='velmo'/><module name='velmo'/>"));
  EXPECT_EQ("[0 2 0]",
            inHost("<module name='velmo'/><module name='hollard'/><module name='velmo'/>"));
}

TEST_F(SystemConfigTest, UnknownModulesLeaveTheOthers) {
  EXPECT_EQ("[1 0]", inHost("<module/><module name='x'/><module name='fennick'/>"
                            "<module name=''/><module name='velmo'/>"));
}

TEST_F(SystemConfigTest, HostWithUnknownModulesOnlyIsListed) {
  EXPECT_EQ("@:-1{x:1[] y:2[0]}",
            inSystem("<machine><host name='x' websocket-port='1'><module name='Velmo'/></host>"
                     "<host name='y' websocket-port='2'><module name='velmo'/></host></machine>"));
}

// --- texts ---

TEST_F(SystemConfigTest, TextsAreNotTrimmed) {
  EXPECT_EQ(" a @\u00a0b :-1{  :-1[]}",
            inSystem("<machine id=' a ' hostname='&#160;b '><host name='  '/></machine>"));
}

// --- ports ---

struct Port {
  std::string text;
  int number;
  std::string reason;
};

const std::vector<Port>& ports() {
  static const std::vector<Port> ports{
      {"8080", 8080, "digits"},
      {"0", 0, "zero"},
      {"1", 1, "smallest port"},
      {"65535", 65535, "largest port"},
      {"65536", 65536, "the range is not checked"},
      {"70000", 70000, "the range is not checked"},
      {"-3", -3, "nor the sign"},
      {"-1", -1, "the same as none"},
      {"-2", -2, "below none"},
      {"2147483647", INT_MAX, "largest int"},
      {"-2147483648", INT_MIN, "smallest int"},
      {"0080", 80, "leading zeros are decimal"},
      {"+80", 80, "a plus sign"},
      {" 80", 80, "a blank in front"},
      {"&#9;&#10;80", 80, "white space in front"},
      {"8,080", 8080, "grouped"},
      {"80,80", 8080, "grouped anyhow"},
      {",80", 80, "a comma in front"},
      {"80,", 80, "a comma behind"},
      {"8,,0", 80, "two commas"},
      {"2,147,483,647", INT_MAX, "largest int, grouped"},
      {"-8,080", -8080, "negative and grouped"},
      {"-", 0, "a sign without a digit"},
      {"+", 0, "a plus sign without a digit"},
      {",", 0, "a comma without a digit"},
      {"-0", 0, "negative zero"},
      {"", -1, "nothing"},
      {" ", -1, "a blank"},
      {"80 ", -1, "a blank behind"},
      {"8 080", -1, "a blank inside"},
      {"abc", -1, "no digits"},
      {"80a", -1, "more than digits"},
      {"a80", -1, "something in front"},
      {"0x50", -1, "hexadecimal"},
      {"8.080", -1, "another separator"},
      {"8'080", -1, "an apostrophe"},
      {"80.0", -1, "a fraction"},
      {"1e3", -1, "an exponent"},
      {"--80", -1, "two signs"},
      {"+-80", -1, "two signs"},
      {"80-", -1, "a sign behind"},
      {"- 80", -1, "a blank behind the sign"},
      {"2147483648", -1, "beyond an int"},
      {"-2147483649", -1, "below an int"},
      {"4294967376", -1, "2 to the 32nd and 80"},
      {"99999999999999999999999999", -1, "far beyond an int"},
      {"2147483647,", -1, "a comma behind the largest int"},
      {"\xd9\xa8\xd9\xa0", -1, "digits of another script"},
      {"\xc2\xa0"
       "80",
       -1, "a blank of another kind"},
  };
  return ports;
}

TEST_F(SystemConfigTest, WebSocketPortsFollowTheNumberRule) {
  for (const Port& port : ports()) {
    EXPECT_EQ("@:-1{:" + std::to_string(port.number) + "[]}",
              inSystem("<machine><host websocket-port=\"" + port.text + "\"/></machine>"))
        << port.text << ": " << port.reason;
  }
}

TEST_F(SystemConfigTest, RmiPortsFollowTheNumberRule) {
  for (const Port& port : ports()) {
    EXPECT_EQ("@:" + std::to_string(port.number) + "{}",
              inSystem("<machine rmi-port=\"" + port.text + "\"/>"))
        << port.text << ": " << port.reason;
  }
}

TEST_F(SystemConfigTest, BadPortLeavesItsElementListed) {
  EXPECT_EQ(
      "m@h:-1{x:-1[0]}",
      inSystem("<machine id='m' hostname='h' rmi-port='abc'>"
               "<host name='x' websocket-port='abc'><module name='velmo'/></host></machine>"));
}

}  // namespace
