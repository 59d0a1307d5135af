// The tool's table, its errors and its checks.
#include <gmock/gmock.h>

#include <fstream>
#include <set>

#include "tools/catalog/entry_point.h"
#include "tools/catalog/settings.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/show/check.h"
#include "tools/show/doubts.h"

using namespace orba::tool;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// What the call throws.
template <typename Call>
std::string complaintOf(Call call) {
  try {
    call();
  } catch (const std::exception &error) {
    return error.what();
  }
  return "";
}

std::string written(const std::string &content) {
  struct File {
    std::string path = testing::TempDir() + "/orba-config-" + std::to_string(getpid());
    ~File() { std::remove(path.c_str()); }
  };
  static const File file;
  std::ofstream(file.path) << content;
  return file.path;
}

std::vector<nvram::Setting> example(const std::string &name) {
  return readConfig(std::string(ORBA_EXAMPLES) + "/" + name);
}

}  // namespace

TEST(Entries, AreAllThatTheLibraryExports) {
  std::set<std::string> listed, exported;
  for (const EntryPoint &entry : entryPoints()) {
    EXPECT_TRUE(listed.insert(entry.name).second) << entry.name << " stands twice";
    EXPECT_NE(*entry.line, '\0') << entry.name;
  }
  std::ifstream symbols(SYMBOLS);
  for (std::string line; std::getline(symbols, line);) {
    if (line[0] != '#' && line[0] != '=') exported.insert(line);
  }
  EXPECT_EQ(listed, exported);
}

TEST(Entries, SayWhatIsWrongWithTheirWords) {
  EXPECT_EQ(complaintOf([] { entryPointNamed("firewall"); }),
            "there is no entry point 'firewall'; did you mean firewall_init, firewall_fini?");
  EXPECT_EQ(complaintOf([] { entryPointNamed("x"); }).find("there is no entry point 'x'"), 0u);
  EXPECT_EQ(complaintOf([] { entryPointNamed("STF").checkWords({"1"}); }),
            "usage: STF INDEX KEY RECORD (3 arguments, not 1)");
  EXPECT_EQ(complaintOf([] {
              entryPointNamed("STF").call({"one", "k", "v"});
            }),
            "INDEX: 'one' is not a number");
  EXPECT_EQ(complaintOf([] {
              entryPointNamed("ledAlways").call({"99999999999", "1"});
            }),
            "GPIO: 99999999999 does not fit 32 bits");
}

TEST(Config, IsReadWithSpacesOrComplainedOfByLineAndKey) {
  std::string path = written("# both spaces\nSSID1=1\n[2]\nSSID1= two \n");
  sim::Device device;
  putSettings(readConfig(path), device);
  EXPECT_EQ(device.setting("SSID1"), "1");
  EXPECT_EQ(device.setting("SSID1", 2), " two ");

  path = written("[1]\nA=1\nnothing\nB=\\q\nA=2\n");
  std::string complaint = complaintOf([&] { readConfig(path); });
  for (const char *line : {":3: ", ":4: ", ":5: "}) EXPECT_THAT(complaint, HasSubstr(path + line));
  EXPECT_THAT(complaint, HasSubstr("B"));
  EXPECT_THAT(complaint, HasSubstr("nothing"));
  remove(path.c_str());
  EXPECT_EQ(complaintOf([&] { readConfig(path); }), path + ": No such file or directory");
}

TEST(Bench, ComplainsOfADeviceFileByLine) {
  std::string path =
      written("# a bench\ninterface br0 10.0.0.1/16\n\"Net\" 00:11:22:33:44:55 6 -50 WEP\nwps\n");
  sim::Device device;
  EXPECT_EQ(complaintOf([&] { readDeviceFile(path, device); }),
            path + ":4: wanted: wps IFNAME STATUS[*TICKS] ...");
  EXPECT_EQ(device.interface("br0").netmask(), "255.255.0.0");
}

TEST(Check, NamesRecordFieldValueAndReason) {
  sim::Device device;
  device.settings({
      {"IPPortFilterRules", "any/0,,0,0,1.2.3.300,,80,0,1;any/0,,0,0,any,,0,70000,1"},
      {"PortForwardRules", "192.168.1.9,0,0,TCP;192.168.1.9,80,0,TCP"},
      {"SinglePortForwardRules", "x,80,x,7"},
      {"SinglePortForwardEnable", "1"},
      {"DMZEnable", "2"},
      {"MACFilterRules", "00:11:22:33:44:55;;66:11:22:33:44:55"},
      {"websHostFilters", std::string(300, 'h')},
      {"StaticRoutingRules", "1,a,10.0.0.0,255.0.0.0,"},
      {"OperationMode", "4"},
      {"BlockLAND", ""},
  });
  std::vector<std::string> found;
  for (const Finding &finding : checkSettings(device)) found.push_back(finding.line());
  EXPECT_THAT(
      found,
      ElementsAre(
          "IPPortFilterRules, record 1, field 5 (destination address): \"1.2.3.300\" is neither \"any\" nor an IPv4 "
          "address with a prefix of at most 32; it is passed over",
          "IPPortFilterRules, record 2, field 8 (last destination port): \"70000\" is not below 65536; it is passed over",
          "PortForwardRules, record 1, field 2 (first port): \"0\" is 0 or above 65535; it is passed over",
          HasSubstr("SinglePortForwardRules, record 1, field 4 (protocol): \"7\""),
          "MACFilterRules, record 2: \"\" is empty and ends the list; it is passed over",
          "MACFilterRules, record 3: \"66:11:22:33:44:55\" stands behind an empty record; it is "
          "passed over",
          HasSubstr("is too long and loses its end; it is used without its end"),
          HasSubstr("StaticRoutingRules, record 1"),
          HasSubstr("OperationMode: \"4\" is not 0 (bridge)")));
}

// Programs that get a name in place of an address ask for it in the network, and some
// take more than one.
TEST(Check, NamesWhatIsNoAddress) {
  const std::string host = "is not an IPv4 address", network = host + " or network";
  const std::string looked_up = "; it is looked up as a host name",
                    as_is = "; it is read as it stands";
  const std::string list = "; it stands for each address that it lists";
  const std::string not_run = "; it keeps its command from being run";
  const struct {
    const char *key, *value;
    std::string finding;  // "" for none
  } cases[] = {
      {"IPPortFilterRules", "any,,0,0,1.2.3.4,24,80,0,1,,,,,,", network + looked_up},
      {"IPPortFilterRules", "any/0,,0,0,1.2.3.4,x,80,0,1,,,,,,", "is not a netmask" + as_is},
      {"IPPortFilterRules", "any/0,,0,0,1.2.3.4,255.0.0.0,80,0,1,,,,,,", ""},
      {"PortForwardRules", "any/0,80,0,TCP", host + "; it stands for a whole network"},
      {"DMZAddress", "192.168.1.50,0.0.0.0/0", host + list},
      {"aclRules", "10.0.0.0/8;1.2.3.4-1.2.3.5;printer", network + looked_up},
      {"aclRules", "1.2.3.4,0/0", network + list},
      {"aclRules", "010.0.0.9", network + "; it is taken for another address, or for none"},
      {"aclRules", "1.2.3.4-5", "is not a range of two IPv4 addresses" + as_is},
      {"MACFilterRules", "Multicast", "is not a MAC address" + as_is},
      {"websURLFilters", "-x", "is not free of a \"-\" in front" + not_run},
      {"RoutingRules", "default,0.0.0.0,,LAN,br0,,", host + looked_up},
      {"RoutingRules", "1.2.3.4,0.0.0.0,,LAN,br+,,", "is not the name of one interface" + as_is},
      {"RoutingRules", "host,x,,LAN", "has fewer than 7 fields; it is passed over"},
      {"StaticRoutingRules", "1,a,10.8.0.0,255.0.0.0,gateway,br0", host + looked_up},
      {"PolicyRoutingRules", "24,me,0,,-1,WAN,ppp0,name", host + as_is},
      {"StaticRoutingRules", "0,off,10.8.0.0,x,,2", ""},
      {"StaticRoutingRules", "x,a,10.8.0.0,255.0.0.0,,2",
       "does not switch the route on; it is passed over"},
      {"PolicyRoutingRules", "24,1.2.3.4,0,,tcp,WAN,ppp0,name",
       "is no protocol number from 0 to 255, and not -1; it counts as 0"},
      // Without a protocol a record has that of the one before.
      {"PortForwardRules", "1.2.3.4,80,0,UDP;1.2.3.4,90,0,", ""},
      {"PortForwardRules", "1.2.3.4,80,0,UDP;1.2.3.4,90,0,tcp",
       "it stands for the protocol of the record before, UDP"},
      {"PortForwardRules", "1.2.3.4,80,70,UDP",
       "field 3 (last port): \"70\" is below the first port, 80; it makes a command that is refused"},
      {"IPPortFilterRules", "any/0,,0,0,any/0,,80,70,1,,,,,,",
       "(last destination port): \"70\" is below the first port, 80; it makes a command that is refused"},
      {"IPPortFilterRules", "any/0,,0,0,any/0,,80,70,5,,,,,,", ""},  // which has no ports
      {"wan1Vid", "+", "VLAN id from 1 to 4094; it stands for every name that begins so"},
      {"RMTELNETServerPort", "-5", "is not a port from 1 to 65535" + not_run},
  };
  for (const auto &[key, value, finding] : cases) {
    sim::Device device;
    device.settings({{key, value}});
    const std::vector<Finding> found = checkSettings(device);
    EXPECT_EQ(found.size(), finding.empty() ? 0u : 1u) << value;
    for (const Finding &each : found) EXPECT_THAT(each.line(), testing::EndsWith(finding));
  }
}

// But not what other programs may have.
TEST(Check, NamesWhatIsMisspelt) {
  const std::vector<nvram::Setting> config = nvram::parseSettings(
      "PortForwardEnabled=1\nhtpMode=0\ndmzenable=1\nSSID0=x\nWPAPSK=x\nIEEE80211H=1\nKey1Str2=x\nHideSSID=0\n"
      "radio=1\n[2]\nChannel=1\nWirelesMode=9\n",
      nullptr);
  std::vector<std::string> found;
  for (const Finding &finding : misspeltSettings(config)) found.push_back(finding.line());
  const std::string nobody = "; it is read by nobody",
                    called = " is set, but the setting is called ";
  EXPECT_THAT(found,
              ElementsAre("PortForwardEnabled: \"1\"" + called + "PortForwardEnable" + nobody,
                          "htpMode: \"0\"" + called + "httpMode" + nobody,
                          "dmzenable: \"1\"" + called + "DMZEnable" + nobody,
                          "WirelesMode in space 2: \"9\"" + called + "WirelessMode" + nobody));
}

TEST(Check, NamesHostsThatAreNotInTheLan) {
  sim::Device device;
  device.settings({{"OperationMode", "1"},
                   {"PortForwardRules",
                    "10.0.0.5,81,0,TCP;192.168.1.9,80,0,TCP;10.8.1.5,82,0,TCP;10.9.1.5,83,0,TCP"},
                   {"RoutingRules", "10.8.0.0,255.255.0.0,192.168.1.2,LAN,br0,,"},
                   {"StaticRoutingRules", "1,a,10.9.0.0,255.255.0.0,192.168.1.3,br0"},
                   {"DMZEnable", "1"},
                   {"DMZAddress", "192.168.2.9"}});
  EXPECT_THAT(doubtsAboutRecords(), IsEmpty());  // of no LAN that is known
  device.interface("br0").address("192.168.1.1").netmask("255.255.255.0");
  std::vector<std::string> found;
  for (const Finding &finding : doubtsAboutRecords()) found.push_back(finding.line());
  const std::string outside =
      " is not in the LAN, 192.168.1.0/24 here; it is sent to where the default route leads";
  EXPECT_THAT(found, ElementsAre("PortForwardRules, record 1, field 1 (LAN address): \"10.0.0.5\"" +
                                     outside,
                                 "DMZAddress: \"192.168.2.9\"" + outside));
}

TEST(Check, NamesWhereNoRouteCanLead) {
  sim::Device device;
  device.interface("br0").address("192.168.1.1").netmask("255.255.255.0");
  device.settings(
      {{"OperationMode", "1"},
       {"RoutingRules", "10.1.0.0,255.255.0.0,10.9.9.9,LAN,br0,,;10.2.0.0,255.255.0.0,,LAN,br7,,"},
       {"StaticRoutingRules",
        "1,a,10.3.0.0,255.255.0.0,10.9.9.9,br0;1,b,10.4.0.0,255.255.0.0,10.9.9.9,2;"
        "1,c,10.5.0.0,255.255.0.0,10.9.9.9,1;1,d,10.6.0.0,255.255.0.0,,br0"},
       {"PolicyRoutingRules", ",,0,,6,WAN2,,a;,,0,,6,LAN,br0,b;,,0,,6,WAN,eth2.2,c"},
       {"DMZEnable", "1"},
       {"DMZAddress", ""}});
  const std::string lan = "\"10.9.9.9\" is not in the LAN, 192.168.1.0/24 here; ",
                    refused = "it makes a command that is refused",
                    no_route = "it makes a route that is refused";
  std::vector<std::string> found;
  for (const Finding &each : doubtsAboutRecords()) found.push_back(each.line());
  EXPECT_THAT(
      found,
      ElementsAre(
          "DMZAddress: \"\" is no host, and DMZEnable is 1; it leaves the DMZ without one",
          "RoutingRules, record 1, field 3 (gateway): " + lan + refused,
          "RoutingRules, record 2, field 5 (interface): \"br7\" is the interface neither of the "
          "LAN nor of a WAN; it makes a route only where the device has another of this name",
          "StaticRoutingRules, record 1, field 5 (gateway): " + lan + refused,
          "StaticRoutingRules, record 2, field 6 (side): \"2\" is a WAN that has no interface; " +
              refused,
          "PolicyRoutingRules, record 1, field 6 (side): \"WAN2\" is a WAN that has no interface; " +
              no_route,
          "PolicyRoutingRules, record 2, field 6 (side): \"LAN\" is no WAN, and means the LAN; " +
              no_route));
}

TEST(Check, FindsNoFormBroken) {
  for (const char *name : {"gateway.conf", "minimal.conf", "repeater.conf"}) {
    sim::Device device;
    putSettings(example(name), device);
    setUpDeskDevice(device);
    EXPECT_THAT(checkSettings(device), IsEmpty()) << name;
    EXPECT_THAT(misspeltSettings(example(name)), IsEmpty()) << name;
  }
}
