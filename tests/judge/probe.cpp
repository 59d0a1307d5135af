#include "probe.h"

#include <istream>
#include <ostream>
#include <sstream>

namespace judge {

using namespace packets;

namespace {

std::string ends(uint64_t source, uint64_t source_port, uint64_t destination, uint64_t port) {
  return addressText(source) + ":" + std::to_string(source_port) + " to " +
         addressText(destination) + ":" + std::to_string(port);
}

const char *const kVerdicts[] = {"forwarded", "delivered",       "dropped",
                                 "rejected",  "without a route", "martian",
                                 "bridged",   "for nobody",      "unknown"};

bool hasPorts(const Packet &packet) {
  return packet[kProtocol] == kTcp || packet[kProtocol] == kUdp;
}

bool nothing(const Arrival &arrival) {
  return !arrival.forwarded && !arrival.bridged && !arrival.delivered;
}

std::string told(const Arrival &arrival) {
  std::string words;
  if (arrival.forwarded) words += " forwarded";
  if (arrival.bridged) words += " bridged";
  if (arrival.delivered) words += " delivered";
  if (nothing(arrival)) words += " nothing";
  if (arrival.reset) words += " reset";
  if (arrival.unreachable) words += " unreachable";
  return words.substr(1);
}

}  // namespace

std::string text(const Arrival &arrival, const Network &network) {
  std::string words = told(arrival);
  if (nothing(arrival)) return words;
  if (arrival.out < network.interfaces.size()) {
    words += " by " + network.interfaces[arrival.out].name;
  }
  words += ", " +
           ends(arrival.source, arrival.source_port, arrival.destination, arrival.destination_port);
  if (arrival.mark != 0) words += ", mark " + std::to_string(arrival.mark);
  return words;
}

std::string text(const Probe &probe, const Network &network) {
  static const char *const kRoles[] = {"first", "repeated", "reply", "second", "error"};
  static const char *const kStates[] = {"INVALID", "NEW", "ESTABLISHED", "RELATED"};
  const Packet &packet = probe.packet;
  std::ostringstream words;
  words << kRoles[probe.role] << " " << kStates[packet[kState]] << " from "
        << (packet[kBridgePort] < network.interfaces.size()
                ? network.interfaces[packet[kBridgePort]].name
                : "the router")
        << " " << protocolText(packet[kProtocol]) << " "
        << ends(packet[kSource], packet[kSourcePort], packet[kDestination],
                packet[kDestinationPort]);
  if (packet[kProtocol] == kTcp) words << " flags " << packet[kTcpFlags];
  if (packet[kProtocol] == kIcmp) words << " type " << packet[kIcmpType];
  words << " length " << packet[kLength] << " " << macText(packet[kSourceMac]) << " to "
        << macText(packet[kDestinationMac]);
  if (packet[kEtherType] != 0x0800) words << " ethertype " << packet[kEtherType];
  if (!probe.content.empty()) words << " \"" << probe.content << '"';
  return words.str();
}

Walk wayOf(Walker &walker, const Probe &probe, const Connection *connection) {
  return probe.packet[kBridgePort] == kNoInterface
             ? walker.walkFromRouter(probe.packet, connection, Detail::kVerdict)
             : walker.walk(probe.packet, connection, Detail::kVerdict);
}

Connection connectionOf(Walker &walker, const Probe &first) {
  return {first.packet, wayOf(walker, first, nullptr).end};
}

bool agrees(const Walk &way, const Probe &probe, const Arrival &arrival, std::string &why) {
  const auto differ = [&](const std::string &what) {
    why = std::string("the model: ") + kVerdicts[static_cast<int>(way.verdict)] + ", " +
          ends(way.end[kSource], way.end[kSourcePort], way.end[kDestination],
               way.end[kDestinationPort]) +
          " out " + std::to_string(way.end[kOut]) + " mark " + std::to_string(way.end[kMark]) +
          " (" + what + ")";
    return false;
  };
  // A frame to all is for the router and is flooded too.
  const bool to_all = (probe.packet[kDestinationMac] >> 40 & 1) != 0;
  if (arrival.bridged && way.verdict != Verdict::kBridged && !to_all) return differ("bridged");
  switch (way.verdict) {
    case Verdict::kForwarded:
      if (!arrival.forwarded) return differ("not forwarded");
      // What the router sends to all it hears too.
      if (arrival.delivered && probe.packet[kBridgePort] != kNoInterface) {
        return differ("delivered");
      }
      break;
    case Verdict::kDelivered:
      if (!arrival.delivered) return differ("not delivered");
      if (arrival.forwarded) return differ("forwarded");
      if (arrival.mark != way.end[kMark]) return differ("mark");
      break;
    case Verdict::kBridged:
      if (!arrival.bridged || arrival.forwarded || arrival.delivered) return differ("not bridged");
      return true;
    case Verdict::kRejected:
      // Nobody answers a reset with one.
      if (!arrival.reset && (probe.packet[kTcpFlags] & kReset) == 0) return differ("no reset");
      break;
    case Verdict::kUnknown:
      return true;
    default:
      break;
  }
  if (way.verdict != Verdict::kForwarded && way.verdict != Verdict::kDelivered) {
    if (arrival.forwarded) return differ("forwarded");
    if (arrival.delivered) return differ("delivered");
    if (arrival.reset && way.verdict != Verdict::kRejected) return differ("reset");
    if (arrival.unreachable && way.verdict != Verdict::kNoRoute) return differ("unreachable");
    return true;
  }
  if (arrival.source != way.end[kSource]) return differ("source");
  if (arrival.destination != way.end[kDestination]) return differ("destination");
  if (hasPorts(probe.packet) && (arrival.source_port != way.end[kSourcePort] ||
                                 arrival.destination_port != way.end[kDestinationPort])) {
    return differ("ports");
  }
  if (arrival.forwarded && arrival.out != way.end[kOut] && arrival.router_out != way.end[kOut]) {
    return differ("interface");
  }
  return true;
}

Agreement judged(const Router &router, Walker &walker, const Walk &way, const Probe &probe,
                 const Connection *connection, const Arrival &arrival, std::string &why) {
  if (agrees(way, probe, arrival, why)) return Agreement::kAgrees;
  // Each question that it met and whose answer the packet does not hold, the other way.
  for (FieldId field : way.asked) {
    if (router.unknowns()[field - kFields].find("limit") == std::string::npos) continue;
    Probe asked = probe;
    asked.packet[field] ^= 1;
    std::string other;
    if (agrees(wayOf(walker, asked, connection), probe, arrival, other)) {
      return Agreement::kByAnAnswer;
    }
  }
  return Agreement::kDiffers;
}

Router routerOf(const Network &network, const std::vector<std::string> &lines) {
  Router router(network);
  for (size_t i = 0; i < lines.size(); i++) router.run(lines[i], i);
  return router;
}

Refusals compareRefusals(const Router &router, const std::vector<std::string> &lines,
                         const std::map<size_t, std::string> &refused) {
  Refusals found;
  std::map<size_t, std::string> by_model;
  for (const Refusal &refusal : router.refusals()) {
    const bool of_tables = lines[refusal.command].find("tables") != std::string::npos;
    if (refusal.missing && of_tables) by_model[refusal.command] = refusal.why;
  }
  for (const auto &[line, why] : refused) {
    if (by_model.erase(line) != 0) {
      found.both++;
    } else if (lines[line].find("--content") != std::string::npos) {
      found.content++;
    } else {
      found.differences.push_back("refused by the tool: " + lines[line] + ": " + why);
    }
  }
  for (const auto &[line, why] : by_model) {
    const bool reversed = why.find("the first is above the last") != std::string::npos;
    if (reversed && lines[line].find("-p udp") != std::string::npos) {
      found.reversed++;
    } else {
      found.differences.push_back("refused by the model: " + lines[line] + ": " + why);
    }
  }
  return found;
}

// ---- files ----

// One number or text a line; a text has no line ends.

namespace {

void put(std::ostream &out, const Packet &packet, size_t fields) {
  for (FieldId field = 0; field < fields; field++) out << packet[field] << ' ';
}

Packet getPacket(std::istream &in, size_t fields) {
  Packet packet;
  for (FieldId field = 0; field < fields; field++) {
    uint64_t value = 0;
    in >> value;
    if (field < kFields || value != 0) packet[field] = value;
  }
  return packet;
}

std::string getLine(std::istream &in) {
  std::string line;
  std::getline(in >> std::ws, line);
  return line;
}

}  // namespace

void write(std::ostream &out, const Record &record) {
  out << record.seed << ' ' << record.tables << ' ' << record.network.interfaces.size() - 1 << '\n';
  for (size_t i = 1; i < record.network.interfaces.size(); i++) {
    const Interface &interface = record.network.interfaces[i];
    const bool numbered = !interface.addresses.empty();
    out << interface.name << ' ' << (interface.bridge.empty() ? "-" : interface.bridge) << ' '
        << interface.mac << ' ' << (numbered ? interface.addresses[0].address : 0) << '\n';
  }
  const Route &gateway = record.network.tables.at("main")[0];
  out << *gateway.gateway << ' ' << gateway.device << '\n' << record.lines.size() << '\n';
  for (const std::string &line : record.lines) out << line << '\n';
  out << record.refused.size() << '\n';
  for (const auto &[line, why] : record.refused) out << line << ' ' << why << '\n';
  const size_t fields = kFields + record.questions;
  out << fields << ' ' << record.probes.size() << '\n';
  for (size_t i = 0; i < record.probes.size(); i++) {
    const Probe &probe = record.probes[i];
    const Arrival &seen = record.arrivals[i];
    put(out, probe.packet, fields);
    out << int{probe.role} << ' ' << probe.first << ' ' << seen.forwarded << ' ' << seen.bridged
        << ' ' << seen.delivered << ' ' << seen.reset << ' ' << seen.unreachable << ' ' << seen.out
        << ' ' << seen.router_out << ' ' << seen.source << ' ' << seen.destination << ' '
        << seen.source_port << ' ' << seen.destination_port << ' ' << seen.mark << '\n';
  }
}

bool read(std::istream &in, Record &record) {
  size_t interfaces = 0, lines = 0, fields = 0, probes = 0;
  record = {};
  if (!(in >> record.seed >> record.tables >> interfaces)) return false;
  for (; interfaces > 0; interfaces--) {
    Interface interface;
    uint64_t address = 0;
    in >> interface.name >> interface.bridge >> interface.mac >> address;
    if (interface.bridge == "-") interface.bridge.clear();
    if (address != 0) interface.addresses.push_back({address, 24});
    const std::string &bridge = interface.bridge;
    if (!bridge.empty() && !record.network.isBridge(bridge)) {
      record.network.bridges.push_back(bridge);
    }
    record.network.add(interface);
  }
  Route gateway;
  uint64_t address = 0;
  in >> address >> gateway.device >> lines;
  gateway.gateway = address;
  record.network.tables["main"].push_back(gateway);
  for (; lines > 0; lines--) record.lines.push_back(getLine(in));
  in >> lines;
  for (; lines > 0; lines--) {
    size_t line = 0;
    in >> line;
    record.refused[line] = getLine(in);
  }
  in >> fields >> probes;
  record.questions = fields - kFields;
  for (; probes > 0; probes--) {
    Probe probe;
    Arrival seen;
    probe.packet = getPacket(in, fields);
    int role = 0;
    in >> role >> probe.first >> seen.forwarded >> seen.bridged >> seen.delivered >> seen.reset >>
        seen.unreachable >> seen.out >> seen.router_out >> seen.source >> seen.destination >>
        seen.source_port >> seen.destination_port >> seen.mark;
    probe.role = static_cast<Probe::Role>(role);
    record.probes.push_back(probe);
    record.arrivals.push_back(seen);
  }
  return static_cast<bool>(in);
}

}  // namespace judge
