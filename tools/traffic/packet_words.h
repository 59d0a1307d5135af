// Packets and sets of them in words, and in JSON.
#ifndef ORBA_TOOLS_TRAFFIC_PACKET_WORDS_H
#define ORBA_TOOLS_TRAFFIC_PACKET_WORDS_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "packets/interval_set.h"
#include "packets/network.h"
#include "packets/packet.h"
#include "packets/walk.h"

namespace orba::tool {

// "192.168.1.0/24", "192.168.1.32-192.168.1.63", with ", " between them; "anywhere" for all.
std::string addressesText(const packets::IntervalSet &addresses);
// "25", "137-139", "80, 443"; "any port" for all.
std::string portsText(const packets::IntervalSet &ports);
// Whether it has ports: TCP and UDP.
bool hasPorts(const packets::Packet &packet);
// "tcp", "esp"; "47" for one without a name here.
std::string protocolName(uint64_t protocol);
// Of such a name, or a number up to 255.
std::optional<uint64_t> protocolNamed(const std::string &name);
// "SYN,ACK", "no flags"
std::string flagsText(uint64_t flags);
// Of "SYN".
std::optional<uint64_t> flagNamed(const std::string &name);
// "192.168.1.20:40000", or without a port where there are none.
std::string endText(const packets::Packet &packet, packets::Field address, packets::Field port);
// "tcp from 192.168.1.20:40000 to 198.51.100.1:25 (SYN)"
std::string packetText(const packets::Packet &packet);
// The same with what else `orba trace` has to be told of it: a MAC address that is not `ordinary`
// (and not 0: the router's own), another length or another state than it would be taken to have.
std::string sentText(const packets::Packet &packet, uint64_t ordinary);
nlohmann::ordered_json packetAsJson(const packets::Packet &packet, const packets::Network &network);
const char *stateName(packets::State state);         // "new"
const char *verdictName(packets::Verdict verdict);   // "forwarded"
std::string placeText(const packets::Place &place);  // "iptables filter INPUT"

}  // namespace orba::tool

#endif
