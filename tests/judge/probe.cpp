#include "probe.h"

#include <sstream>

namespace judge {

using namespace packets;

namespace {

std::string ends(uint64_t source, uint64_t source_port, uint64_t destination, uint64_t port) {
  return addressText(source) + ":" + std::to_string(source_port) + " to " +
         addressText(destination) + ":" + std::to_string(port);
}

const char *const kVerdicts[] = {"forwarded",  "delivered",       "dropped",
                                 "rejected",   "without a route", "martian",
                                 "for nobody", "bridged",         "unknown"};

const char *const kTold[] = {"nothing", "a reset", "that it is open", "of no port", "of no route"};

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
  if (arrival.told != Arrival::kNothing) {
    words +=
        std::string(" and told ") + kTold[arrival.told] + " by " + std::to_string(arrival.told_out);
  }
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
  if (arrival.segment != 0) words += ", segment " + std::to_string(arrival.segment);
  if (arrival.ports != 0) words += ", ports " + std::to_string(arrival.ports);
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

namespace {

// The ports of a bridge, a bit each, by which a frame leaves it.
template <class LetsOut>
uint64_t portsOf(const Network &network, uint64_t bridge, const LetsOut &lets_out) {
  uint64_t ports = 0;
  for (uint64_t i = 0; i < network.interfaces.size(); i++) {
    const Interface &port = network.interfaces[i];
    if (!port.bridge.empty() && network.number(port.bridge) == bridge && lets_out(i)) {
      ports |= uint64_t{1} << i;
    }
  }
  return ports;
}

// What a router tells, where the model knows it.
struct Telling {
  bool known = true;
  Arrival::Told told = Arrival::kNothing;
  Message message = Message::kRefused;
};

Telling tellingOf(const Router &router, const Walk &way, const Probe &probe) {
  const Packet &sent = probe.packet;
  const uint64_t protocol = sent[kProtocol];
  const bool from_wire = sent[kBridgePort] != kNoInterface;
  const bool to_one = (sent[kDestinationMac] >> 40 & 1) == 0;
  if (sent[kEtherType] != kIpv4) return {};
  switch (way.verdict) {
    case Verdict::kRejected:  // nobody answers a reset with one
      if ((sent[kTcpFlags] & kReset) != 0) return {};
      return {true, Arrival::kReset, Message::kRefused};
    case Verdict::kNoRoute:
      if (!from_wire) return {};
      // So often only; nor about what is an error itself.
      if (!to_one || probe.role != Probe::kFirst || !probe.first_of_sender ||
          (protocol == kIcmp && sent[kIcmpType] != 8)) {
        return {.known = false};
      }
      return {true, Arrival::kNoRoute, Message::kNoRoute};
    case Verdict::kDelivered: {
      if (protocol != kTcp && protocol != kUdp) return {};
      const std::optional<Route> route = router.network().route(way.end[kDestination], 0);
      const bool to_router = route && route->kind == Route::kLocal;
      if (!from_wire || probe.role != Probe::kFirst || sent[kState] != kNew || !to_router ||
          !to_one) {
        return {.known = false};
      }
      if (protocol == kUdp) return {true, Arrival::kNoPort, Message::kNobody};
      if ((sent[kTcpFlags] & kSyn) == 0) return {.known = false};
      for (uint64_t port : kListening) {
        if (port == way.end[kDestinationPort]) return {true, Arrival::kOpened, Message::kOpened};
      }
      return {true, Arrival::kReset, Message::kClosed};
    }
    default:
      return {};
  }
}

bool agrees(const Router &router, Walker &walker, const Walk &way, const Probe &probe,
            const Connection *connection, const Arrival &arrival, std::string &why) {
  const Network &network = router.network();
  const auto differ = [&](const std::string &what) {
    why = std::string("the model: ") + kVerdicts[static_cast<int>(way.verdict)] + ", " +
          ends(way.end[kSource], way.end[kSourcePort], way.end[kDestination],
               way.end[kDestinationPort]) +
          " out " + std::to_string(way.end[kOut]) + " mark " + std::to_string(way.end[kMark]) +
          " segment " + std::to_string(way.end[kSegmentSize]) + " (" + what + ")";
    return false;
  };
  if (way.verdict == Verdict::kUnknown) return true;
  const Telling telling = tellingOf(router, way, probe);
  if (telling.known) {
    Arrival::Told told = telling.told;
    uint64_t out = kNoInterface;
    if (told != Arrival::kNothing) {
      const Connection its =
          connection != nullptr ? *connection : Connection{probe.packet, way.end};
      const bool of_connection =
          telling.message != Message::kNoRoute && probe.packet[kState] != kInvalid;
      const Walk back = walker.walkFromRouter(messageTo(router, way, telling.message),
                                              of_connection ? &its : nullptr, Detail::kVerdict);
      out = back.end[kOut];
      if (back.verdict != Verdict::kForwarded) told = Arrival::kNothing;
    }
    if (arrival.told != told) return differ(std::string("tells ") + kTold[told]);
    if (told != Arrival::kNothing && arrival.told_out != out) return differ("tells elsewhere");
  }
  const uint64_t port_in = probe.packet[kBridgePort];
  // A frame to all is for the router and is flooded too.
  const bool to_all = (probe.packet[kDestinationMac] >> 40 & 1) != 0;
  if (way.verdict == Verdict::kBridged) {
    if (arrival.forwarded || arrival.delivered) return differ("not bridged");
    const uint64_t bridge = network.number(network.interfaces[port_in].bridge);
    const uint64_t ports = portsOf(network, bridge, [&](uint64_t port) {
      if (port == port_in) return false;
      Probe through = probe;
      through.packet[kBridgePortOut] = port;
      return wayOf(walker, through, connection).verdict == Verdict::kBridged;
    });
    return arrival.ports == ports || differ("by ports " + std::to_string(ports));
  }
  if (arrival.bridged && !to_all) return differ("bridged");
  if (way.verdict == Verdict::kForwarded) {
    if (!arrival.forwarded) {
      // Unless no port lets it out.
      const uint64_t ports = portsOf(network, way.end[kOut], [&](uint64_t port) {
        return walker.leavesBridge(way.end, port);
      });
      const bool bridge = way.end[kOut] < network.interfaces.size() &&
                          network.isBridge(network.interfaces[way.end[kOut]].name);
      return (bridge && ports == 0) || differ("not forwarded");
    }
    // What the router sends to all it hears too.
    if (arrival.delivered && port_in != kNoInterface) return differ("delivered");
  } else if (way.verdict == Verdict::kDelivered) {
    if (!arrival.delivered) return differ("not delivered");
    if (arrival.forwarded) return differ("forwarded");
    if (arrival.mark != way.end[kMark]) return differ("mark");
  } else {
    if (arrival.forwarded) return differ("forwarded");
    if (arrival.delivered) return differ("delivered");
    return true;
  }
  if (arrival.source != way.end[kSource]) return differ("source");
  if (arrival.destination != way.end[kDestination]) return differ("destination");
  if (hasPorts(probe.packet) && (arrival.source_port != way.end[kSourcePort] ||
                                 arrival.destination_port != way.end[kDestinationPort])) {
    return differ("ports");
  }
  if (!arrival.forwarded) return true;
  if (arrival.out != way.end[kOut]) return differ("interface");
  if ((probe.packet[kTcpFlags] & kSyn) != 0 && arrival.segment != way.end[kSegmentSize]) {
    return differ("segment");
  }
  if (to_all) return true;
  const uint64_t ports = portsOf(network, arrival.out,
                                 [&](uint64_t port) { return walker.leavesBridge(way.end, port); });
  return arrival.ports == (ports != 0 ? ports : uint64_t{1} << arrival.out) ||
         differ("by ports " + std::to_string(ports));
}

}  // namespace

Agreement judged(const Router &router, Walker &walker, const Walk &way, const Probe &probe,
                 const Connection *connection, const Arrival &arrival, std::string &why) {
  if (agrees(router, walker, way, probe, connection, arrival, why)) return Agreement::kAgrees;
  // Each question that it met and whose answer the packet does not hold, the other way.
  for (FieldId field : way.asked) {
    if (router.unknowns()[field - kFields].find("limit") == std::string::npos) continue;
    Probe asked = probe;
    asked.packet[field] ^= 1;
    std::string other;
    if (agrees(router, walker, wayOf(walker, asked, connection), asked, connection, arrival,
               other)) {
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

}  // namespace judge
