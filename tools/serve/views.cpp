// What the device shows.
#include "tools/serve/views.h"

#include <sstream>

#include "tools/device/desk_life.h"
#include "tools/serve/view_parts.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

const std::vector<Question> kStatus = {
    {"getModelName"},
    {"getHostName"},
    {"getSysUptime"},
    {"getSysCurrentTime"},
    {"getMemUsgInfo"},
    {"getCpuLoad"},
    {"getPortStatus"},
    {"getCurrentPacketStatistic"},
    {"getTuStatusFrameRefreshTimeout"},
};

const std::vector<Question> kNetwork = {
    {"getLanIfName"},
    {"getIfIp", {"@getLanIfName"}},
    {"getIfNetmask", {"@getLanIfName"}},
    {"getLanMac"},
    {"getDefaultWanConnectionMode"},
    {"getDefaultWanAddressType"},
    {"getDefaultWanIfName"},
    {"getDefaultWanIp"},
    {"getDefaultWanNetmask"},
    {"getDefaultWanMac"},
    {"getGatewayByInterface", {"@getDefaultWanIfName"}},
    {"getWanIfNamePPP"},
    {"getIfIp", {"@getWanIfNamePPP"}},
    {"getWan2IfNamePPP", {"2"}},
    {"getIfIp", {"@getWan2IfNamePPP 2"}},
    {"getWan2IfNamePPP", {"3"}},
    {"getIfIp", {"@getWan2IfNamePPP 3"}},
    {"getWan2IfNamePPP", {"4"}},
    {"getIfIp", {"@getWan2IfNamePPP 4"}},
    {"wanSrvName"},
    {"getWANLinkStatus"},
    {"getRoutingTable"},
};

// The hosts of the LAN that the kernel has heard of.
Json neighboursIn(const std::string &table) {
  Json hosts = Json::array();
  for (const std::string &line : linesIn(table)) {
    std::istringstream words(line);
    std::string address, type, flags, mac, mask, interface;
    words >> address >> type >> flags >> mac >> mask >> interface;
    if (interface == "br0") hosts.push_back({{"address", address}, {"mac", mac}});
  }
  return hosts;
}

}  // namespace

Json statusView(const DeskDevice &desk, const Draft &draft, long long milliseconds) {
  KeptDevice kept(desk, draft);
  letLive(kept.device, milliseconds, desk.started_at);
  Json answer = stateOf(draft);
  answer["at"] = milliseconds;
  answer["answers"] = answersTo(kStatus);
  return answer;
}

Json networkView(const DeskDevice &desk, const Draft &draft) {
  KeptDevice kept(desk, draft);
  Json answer = stateOf(draft);
  answer["answers"] = answersTo(kNetwork);
  answer["dhcp"] = {
      {"mode", valueAsJson(draft.kept({nvram::kFirstSpace, "dhcpEnabled"}))},
      {"relay", runWith(draft.kept(), "iptablesDHCPRelayChainRun", desk).commands},
      {"hosts", neighboursIn(kept.device.text("/proc/net/arp").value_or(""))},
  };
  return answer;
}

}  // namespace orba::tool
