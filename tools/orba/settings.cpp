#include "tools/orba/settings.h"

#include <regex.h>

namespace orba::tool {

namespace {

#define ADDRESS "(25[0-5]|2[0-4][0-9]|1?[0-9]?[0-9])(\\.(25[0-5]|2[0-4][0-9]|1?[0-9]?[0-9])){3}"
#define PORT "[1-9][0-9]{0,3}|[1-5][0-9]{4}|6[0-4][0-9]{3}|65[0-4][0-9]{2}|655[0-2][0-9]|6553[0-5]"
#define VLAN "[1-9][0-9]{0,2}|[1-3][0-9]{3}|40[0-8][0-9]|409[0-4]"
#define HOUR "(0?[0-9]|1[0-9]|2[0-3])"
#define SCHEDULE "[01] [01] " HOUR " [01] " HOUR " [01]"

const std::vector<SettingForm> kForms = {
    // clang-format off
    {"OperationMode", 1, "[0-3]", "0 (bridge), 1 (gateway), 2 (Ethernet converter) or 3 (wireless client)"},
    {"vlanEnabled", 1, "[01]", "0 or 1"},
    {"wan1Enable", 1, "[01]", "0 or 1"},
    {"wan2Enable", 1, "[01]", "0 or 1"},
    {"wan3Enable", 1, "[01]", "0 or 1"},
    {"wan4Enable", 1, "[01]", "0 or 1"},
    {"wan1Vid", 1, VLAN, "a VLAN id from 1 to 4094"},
    {"wan2Vid", 1, VLAN, "a VLAN id from 1 to 4094"},
    {"wan3Vid", 1, VLAN, "a VLAN id from 1 to 4094"},
    {"wan4Vid", 1, VLAN, "a VLAN id from 1 to 4094"},
    {"wanConnectionMode", 1, "[A-Z0-9]+", "a connection type in capitals, such as PPPOE or STATIC"},
    {"wan_gateway", 1, ADDRESS, "an IPv4 address"},
    {"wanConnectionMode2", 1, "[A-Z0-9]+", "a connection type in capitals, such as PPPOE or STATIC"},
    {"wan_gateway2", 1, ADDRESS, "an IPv4 address"},
    {"wanConnectionMode3", 1, "[A-Z0-9]+", "a connection type in capitals, such as PPPOE or STATIC"},
    {"wan_gateway3", 1, ADDRESS, "an IPv4 address"},
    {"wanConnectionMode4", 1, "[A-Z0-9]+", "a connection type in capitals, such as PPPOE or STATIC"},
    {"wan_gateway4", 1, ADDRESS, "an IPv4 address"},
    {"default_wan", 1, "[1-4]", "the number of a WAN, 1 to 4"},
    {"defaultRouteNum", 1, "[1-4]", "the number of a WAN, 1 to 4"},
    {"pppoeREnabled", 1, "[0-4]", "0 or the number of a WAN"},
    {"wan_MTU_manaul", 1, "[01]", "0 or 1"},
    {"wan_MTU", 1, "[0-9]{2,4}", "an MTU in bytes"},
    {"dhcpEnabled", 1, "[0-2]", "0 (off), 1 (server) or 2 (relay)"},
    {"firewallAction", 1, "ACCEPT|DROP", "ACCEPT or DROP"},
    {"MacFilterAction", 1, "ACCEPT|DROP", "ACCEPT or DROP"},
    {"DefaultFirewallPolicy", 1, "[01]", "0 or 1"},
    {"SPIFWEnabled", 1, "[01]", "0 or 1"},
    {"SIPALGEnable", 1, "[01]", "0 or 1"},
    {"PortForwardEnable", 1, "[01]", "0 or 1"},
    {"SinglePortForwardEnable", 1, "[01]", "0 or 1"},
    {"DMZAvoidTCPPort80", 1, "[01]", "0 or 1"},
    {"natEnabled", 1, "[01]", "0 or 1"},
    {"RemoteManagement", 1, "[01]", "0 or 1"},
    {"WANPingFilter", 1, "[01]", "0 or 1"},
    {"LANPingFilter", 1, "[01]", "0 or 1"},
    {"BlockPortScan", 1, "[01]", "0 or 1"},
    {"BlockSynFlood", 1, "[01]", "0 or 1"},
    {"BlockPingofDeath", 1, "[01]", "0 or 1"},
    {"BlockLAND", 1, "[01]", "0 or 1"},
    {"websHostFiltersEnable", 1, "[01]", "0 or 1"},
    {"websFilterProxy", 1, "[01]", "0 or 1"},
    {"websFilterJava", 1, "[01]", "0 or 1"},
    {"websFilterActivex", 1, "[01]", "0 or 1"},
    {"websFilterCookies", 1, "[01]", "0 or 1"},
    {"DMZEnable", 1, "[0-2]", "0 (off), 1 (rules) or 2 (DMZ program)"},
    {"DMZAddress", 1, ADDRESS, "an IPv4 address"},
    {"websFilterTrustIP", 1, ADDRESS, "an IPv4 address"},
    {"RemoteLogIP", 1, ADDRESS, "an IPv4 address"},
    {"httpMode", 1, "[0-3]", "0 (LAN), 1 (WAN), 2 (both) or 3 (nowhere)"},
    {"ftpMode", 1, "[0-3]", "0 (LAN), 1 (WAN), 2 (both) or 3 (nowhere)"},
    {"telnetMode", 1, "[0-3]", "0 (LAN), 1 (WAN), 2 (both) or 3 (nowhere)"},
    {"snmpMode", 1, "[0-3]", "0 (LAN), 1 (WAN), 2 (both) or 3 (nowhere)"},
    {"icmpMode", 1, "[0-3]", "0 (LAN), 1 (WAN), 2 (both) or 3 (nowhere)"},
    {"sshMode", 1, "[0-3]", "0 (LAN), 1 (WAN), 2 (both) or 3 (nowhere)"},
    {"tftpMode", 1, "[0-3]", "0 (LAN), 1 (WAN), 2 (both) or 3 (nowhere)"},
    {"aclMode", 1, "[01]", "0 or 1"},
    {"RMWWWServerPort", 1, PORT, "a port from 1 to 65535"},
    {"RMWWWOldServerPort", 1, PORT, "a port from 1 to 65535"},
    {"RMHTTPSServerPort", 1, PORT, "a port from 1 to 65535"},
    {"RMHTTPSOldServerPort", 1, PORT, "a port from 1 to 65535"},
    {"RMTELNETServerPort", 1, PORT, "a port from 1 to 65535"},
    {"RMFTPServerPort", 1, PORT, "a port from 1 to 65535"},
    {"RMSNMPServerPort", 1, PORT, "a port from 1 to 65535"},
    {"snmp_serverPort", 1, PORT, "a port from 1 to 65535"},
    {"CountryRegion", 1, "[0-7]", "a 2.4 GHz region code from 0 to 7"},
    {"CountryRegionABand", 1, "[0-9]|1[01]", "a 5 GHz region code from 0 to 11"},
    {"Channel", 1, "[0-9]{1,3}", "a channel number"},
    {"AutoChannelSelect", 1, "[0-2]", "0, 1 (automatic) or 2"},
    {"WirelessOPMode", 1, "[123]", "1 (access point), 2 (client) or 3 (repeater)"},
    {"OperatingBandAP", 1, "[123]", "1, 2 or 3"},
    {"OperatingBandCli", 1, "[12]", "1 or 2"},
    {"OperatingBandRepeater", 1, "[123]", "1, 2 or 3"},
    {"BssidNum", 1, "[1-8]", "a number of networks from 1 to 8"},
    {"WirelessMode", 1, "[0-9]{1,2}", "a number"},
    {"WlanEnabled", 1, "[01](;[01])*", "0 or 1 for each network, separated by semicolons"},
    {"IEEE8021X", 1, "[01](;[01])*", "0 or 1 for each network, separated by semicolons"},
    {"WscModeOption", 1, "[0-7]", "a WPS mode from 0 to 7"},
    {"WscModeOption", 2, "[0-7]", "a WPS mode from 0 to 7"},
    {"WscConfigured", 1, "[01]", "0 or 1"},
    {"RadioOff", 1, "[01]", "0 or 1"},
    {"wlanScheduleEnab", 1, "[01]", "0 or 1"},
    {"RemoteLogActive", 1, "[01]", "0 or 1"},
    {"DSTEnabled", 1, "[01]", "0 or 1"},
    {"isDSTsynced", 1, "[01]", "0 or 1"},
    {"TuQoSEnable", 1, "[01]", "0 or 1"},
    {"AccessPolicy0", 1, "[0-2]", "0, 1 or 2"},
    {"wlanSchedule1", 1, SCHEDULE, "six fields: on flag, mode, hour, half, hour, half"},
    {"wlanSchedule2", 1, SCHEDULE, "six fields: on flag, mode, hour, half, hour, half"},
    {"wlanSchedule3", 1, SCHEDULE, "six fields: on flag, mode, hour, half, hour, half"},
    {"wlanSchedule4", 1, SCHEDULE, "six fields: on flag, mode, hour, half, hour, half"},
    {"wlanSchedule5", 1, SCHEDULE, "six fields: on flag, mode, hour, half, hour, half"},
    {"wlanSchedule6", 1, SCHEDULE, "six fields: on flag, mode, hour, half, hour, half"},
    {"wlanSchedule7", 1, SCHEDULE, "six fields: on flag, mode, hour, half, hour, half"},
    {"wlanSchedule8", 1, SCHEDULE, "six fields: on flag, mode, hour, half, hour, half"},
    {"AuthMode", 1, "(OPEN|SHARED|WEPAUTO|WPA|WPAPSK|WPANONE|WPA2|WPA2PSK|WPA1WPA2|WPAPSKWPA2PSK|Disable)(;(OPEN|SHARED|WEPAUTO|WPA|WPAPSK|WPANONE|WPA2|WPA2PSK|WPA1WPA2|WPAPSKWPA2PSK|Disable))*", "an authentication mode for each network, such as WPA2PSK"},
    {"EncrypType", 1, "(NONE|WEP|TKIP|AES|TKIPAES)(;(NONE|WEP|TKIP|AES|TKIPAES))*", "an encryption for each network, such as AES"},
    // clang-format on
};

}  // namespace

bool SettingForm::matches(const std::string &value) const {
  regex_t compiled;
  std::string whole = "^(" + std::string(pattern) + ")$";
  if (regcomp(&compiled, whole.c_str(), REG_EXTENDED | REG_NOSUB) != 0) return false;
  bool found = regexec(&compiled, value.c_str(), 0, nullptr, 0) == 0;
  regfree(&compiled);
  return found;
}

const std::vector<SettingForm> &settingForms() {
  return kForms;
}

}  // namespace orba::tool
