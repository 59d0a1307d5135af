#include "tools/traffic/trace.h"

#include "tools/catalog/entry_point.h"
#include "tools/traffic/packet_words.h"

namespace orba::tool {

namespace {

using namespace packets;

uint64_t addressOf(const std::string &text, const char *whose) {
  uint64_t address;
  if (!readAddress(text, address)) {
    throw BadArgument(std::string(whose) + ": '" + text + "' is no IPv4 address");
  }
  return address;
}

}  // namespace

Packet packetOf(const PacketQuestion &question, const DeskRouter &desk) {
  Packet packet;
  const Network &network = desk.router.network();
  if (question.from != "router") {
    const Side *side = desk.side(question.from);
    if (side == nullptr) throw BadArgument("FROM: there is no side '" + question.from + "'");
    packet[kBridgePort] = network.number(side->interface);
    const packets::Interface &port = network.interfaces[packet[kBridgePort]];
    const packets::Interface *own = port.bridge.empty() ? &port : network.find(port.bridge);
    packet[kDestinationMac] = own->mac;
  }
  packet[kSource] = addressOf(question.source, "SOURCE");
  packet[kDestination] = addressOf(question.destination, "DESTINATION");
  const size_t slash = question.protocol.find('/');
  const std::string name = question.protocol.substr(0, slash);
  for (uint64_t protocol = 0; protocol < 256; protocol++) {
    if (protocolText(protocol) == name) packet[kProtocol] = protocol;
  }
  const int number = slash == std::string::npos ? 0 : atoi(question.protocol.c_str() + slash + 1);
  if (packet[kProtocol] == kTcp || packet[kProtocol] == kUdp) {
    packet[kSourcePort] = 40000;
    packet[kDestinationPort] = static_cast<uint64_t>(number);
    if (packet[kProtocol] == kTcp) packet[kTcpFlags] = kSyn;
  } else if (packet[kProtocol] == kIcmp) {
    packet[kIcmpType] = slash == std::string::npos ? 8 : static_cast<uint64_t>(number);
  }
  return packet;
}

Trace traceOf(const PacketQuestion &question, const DeskRouter &desk) {
  Trace trace;
  trace.packet = packetOf(question, desk);
  const bool own = question.from == "router";
  trace.way = own ? walkFromRouter(desk.router, trace.packet) : walk(desk.router, trace.packet);
  return trace;
}

std::string verdictSentence(const Walk &way, const DeskRouter &, Blame &blame) {
  std::string text = verdictName(way.verdict);
  if (way.decided_by) text += " by " + blame.nameOf(*way.decided_by);
  return text;
}

}  // namespace orba::tool
