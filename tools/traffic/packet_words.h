// Packets and sets of them in words, and in JSON.
#ifndef ORBA_TOOLS_TRAFFIC_PACKET_WORDS_H
#define ORBA_TOOLS_TRAFFIC_PACKET_WORDS_H

#include <nlohmann/json_fwd.hpp>
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
// "tcp from 192.168.1.20:40000 to 198.51.100.1:25 (SYN)"
std::string packetText(const packets::Packet &packet);
nlohmann::ordered_json packetAsJson(const packets::Packet &packet, const packets::Network &network);
const char *stateName(packets::State state);         // "new"
const char *verdictName(packets::Verdict verdict);   // "forwarded"
std::string placeText(const packets::Place &place);  // "iptables filter INPUT"

}  // namespace orba::tool

#endif
