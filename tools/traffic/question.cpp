#include "tools/traffic/question.h"

#include <algorithm>

#include "packets/values.h"
#include "tools/text/lines.h"
#include "tools/traffic/packet_words.h"

namespace orba::tool {

namespace {

using namespace packets;

constexpr char kRouter[] = "router";
constexpr uint64_t kEverybody = 0xffffffff, kEverybodyMac = 0xffffffffffff;
// Addresses that are given out to nobody.
constexpr uint64_t kSomeMac = 0x020000000001, kOtherHostMac = 0x0200000000fe;
constexpr uint64_t kSomePort = 40000, kHeader = 20, kBare = 40, kPing = 84;

[[noreturn]] void refuse(const std::string &argument, const std::string &why) {
  throw BadQuestion(argument, why);
}

uint64_t numberOf(const std::string &argument, const std::string &text, uint64_t least,
                  uint64_t most) {
  uint64_t number;
  if (readNumber(text, most, number) || number < least) {
    refuse(argument, "'" + text + "' is no number from " + std::to_string(least) + " to " +
                         std::to_string(most));
  }
  return number;
}

uint64_t maskOf(const Address &address) {
  return address.prefix == 0 ? 0 : kEverybody << (32 - address.prefix) & kEverybody;
}

bool isOwn(const Network &network, uint64_t address) {
  return std::any_of(
      network.interfaces.begin(), network.interfaces.end(), [&](const Interface &each) {
        return std::any_of(each.addresses.begin(), each.addresses.end(),
                           [&](const Address &own) { return own.address == address; });
      });
}

// What a person may type for FROM.
std::string sidesText(const DeskRouter &desk) {
  std::string text;
  for (const Side &side : desk.sides) text += (text.empty() ? "" : ", ") + side.name;
  return text + " or " + kRouter;
}

// Reads a question into a packet, one argument after the other.
class Reader {
 public:
  Reader(const PacketQuestion &question, const DeskRouter &desk)
      : question_(question), desk_(desk), network_(desk.router.network()) {}

  Packet read() {
    readFrom();
    readProtocol();
    packet_[kDestination] = addressOf("DESTINATION", question_.destination);
    packet_[kSource] = addressOf("SOURCE", question_.source);
    if (side_ == nullptr && !isOwn(network_, packet_[kSource])) {
      refuse("SOURCE", addressText(packet_[kSource]) + " is no address of the router; type " +
                           kRouter + " for the one that it would take");
    }
    readState();
    packet_[kLength] = question_.length.empty()
                           ? (packet_[kProtocol] == kIcmp ? kPing : kBare)
                           : numberOf("--length", question_.length, kHeader, 65535);
    if (side_ != nullptr) addressFrame();
    return packet_;
  }

 private:
  void readFrom() {
    if (question_.from == kRouter) return;
    side_ = desk_.side(question_.from);
    if (side_ == nullptr) {
      refuse("FROM",
             "'" + question_.from + "' is no side of this router; type " + sidesText(desk_));
    }
    packet_[kBridgePort] = network_.number(side_->interface);
    const Interface &port = network_.interfaces[packet_[kBridgePort]];
    own_ = port.bridge.empty() ? &port : network_.find(port.bridge);
  }

  uint64_t addressOf(const char *argument, const std::string &text) const {
    uint64_t address;
    if (readAddress(text, address)) return address;
    if (text != kRouter) {
      refuse(argument, "'" + text + "' is no IPv4 address; type one such as 198.51.100.1, or " +
                           kRouter + " for the router's own");
    }
    const Interface *own = own_;
    if (own == nullptr) {  // the one that the packet leaves by
      const std::optional<Route> route = network_.route(packet_[kDestination], 0);
      if (route) own = network_.find(route->device);
      if (own == nullptr) own = &network_.interfaces[0];
    }
    if (own->addresses.empty()) {
      refuse(argument, "the router has no address at " + own->name + "; type one");
    }
    return own->addresses[0].address;
  }

  void readProtocol() {
    const std::string &text = question_.protocol;
    const size_t slash = text.find('/');
    const std::optional<uint64_t> protocol = protocolNamed(text.substr(0, slash));
    if (!protocol) {
      refuse("PROTOCOL", "'" + text.substr(0, slash) +
                             "' is no protocol; type tcp/PORT, udp/PORT, icmp, icmp/TYPE, igmp, "
                             "esp, gre or a number up to 255");
    }
    packet_[kProtocol] = *protocol;
    const bool has_number = slash != std::string::npos;
    const std::string number = has_number ? text.substr(slash + 1) : "";
    const bool ports = hasPorts(packet_);
    if (ports) {
      if (!has_number) refuse("PROTOCOL", text + " needs a port, such as " + text + "/80");
      packet_[kDestinationPort] = numberOf("PROTOCOL", number, 0, 65535);
      packet_[kSourcePort] = question_.source_port.empty()
                                 ? kSomePort
                                 : numberOf("--source-port", question_.source_port, 0, 65535);
    } else if (*protocol == kIcmp) {
      packet_[kIcmpType] = has_number ? numberOf("PROTOCOL", number, 0, 255) : 8;
    } else if (has_number) {
      refuse("PROTOCOL", text.substr(0, slash) + " has no ports; type it without /" + number);
    }
    if (!ports && !question_.source_port.empty()) {
      refuse("--source-port", "only tcp and udp have ports");
    }
  }

  // Flags and state: each follows from the other where it is not given.
  void readState() {
    static const State kStates[] = {kNew, kEstablished, kRelated, kInvalid};
    const std::string &text = question_.state;
    auto state = std::find_if(std::begin(kStates), std::end(kStates),
                              [&](State each) { return text == stateName(each); });
    if (!text.empty() && state == std::end(kStates)) {
      refuse("--state", "'" + text + "' is no state; type new, established, related or invalid");
    }
    const bool first = text.empty() || *state == kNew || *state == kRelated;
    if (packet_[kProtocol] == kTcp) {
      packet_[kTcpFlags] = first ? kSyn : kAcknowledge;
      if (!question_.flags.empty()) readFlags();
    } else if (!question_.flags.empty()) {
      refuse("--flags", "only tcp has flags");
    }
    packet_[kState] = text.empty() ? stateOfFirst(packet_) : *state;
    if (packet_[kState] == kNew && stateOfFirst(packet_) == kInvalid) {
      refuse("--state",
             "no connection begins with such a packet; leave the state out, or type "
             "established, related or invalid");
    }
  }

  void readFlags() {
    packet_[kTcpFlags] = 0;
    if (question_.flags == "NONE") return;
    for (const std::string &name : splitAt(question_.flags, ',')) {
      const std::optional<uint64_t> flag = flagNamed(name);
      if (!flag) {
        refuse("--flags", "'" + name +
                              "' is no flag; type some of FIN, SYN, RST, PSH, ACK, URG "
                              "with commas between them, or NONE");
      }
      packet_[kTcpFlags] |= *flag;
    }
  }

  // The frame that it comes in with.
  void addressFrame() {
    uint64_t mac = 0;
    const bool is_station = readMac(question_.mac, mac) && mac != 0 && (mac & kGroupBit) == 0;
    if (!question_.mac.empty() && !is_station) {
      refuse("--mac", "'" + question_.mac +
                          "' is no MAC address of a station; type one such as "
                          "02:00:00:00:00:01");
    }
    packet_[kSourceMac] = question_.mac.empty() ? macOfNoRule(desk_.router) : mac;
    packet_[kDestinationMac] = macOf(packet_[kDestination]);
    if (packet_[kDestinationMac] == kOtherHostMac) {
      packet_[kBridgePortOut] = network_.number(portTo(packet_[kDestination]));
    }
  }

  bool bridgesToWan() const {
    const Side *wan = desk_.side("wan");
    return wan != nullptr && network_.find(wan->interface)->bridge == own_->name;
  }

  bool isBehind(const Interface &interface, uint64_t address) const {
    return std::any_of(
        interface.addresses.begin(), interface.addresses.end(),
        [&](const Address &own) { return ((own.address ^ address) & maskOf(own)) == 0; });
  }

  // To whom a host sends what is for an address.
  uint64_t macOf(uint64_t address) const {
    if (address >> 28 == 0xe) return 0x01005e000000 | (address & 0x7fffff);
    const bool to_all =
        std::any_of(own_->addresses.begin(), own_->addresses.end(), [&](const Address &own) {
          return own.prefix < 31 && address == (own.address | (~maskOf(own) & kEverybody));
        });
    if (address == kEverybody || to_all) return kEverybodyMac;
    const bool bridged = own_->name != side_->interface;
    if (!bridged || isOwn(network_, address)) return own_->mac;
    // Where the Internet is behind the same bridge, the router is not the hosts' gateway.
    return isBehind(*own_, address) || bridgesToWan() ? kOtherHostMac : own_->mac;
  }

  // The port of the bridge behind which another host is: another one than it came in by.
  std::string portTo(uint64_t address) const {
    const bool outside = bridgesToWan() && !isBehind(*own_, address);
    if (outside) return desk_.side("wan")->interface;
    for (const Side &side : desk_.sides) {
      if (side.name != side_->name && side.name.rfind("wan", 0) != 0) return side.interface;
    }
    return "";
  }

  const PacketQuestion &question_;
  const DeskRouter &desk_;
  const Network &network_;
  const Side *side_ = nullptr;      // none for the router itself
  const Interface *own_ = nullptr;  // where the router meets that side
  Packet packet_;
};

}  // namespace

Packet packetOf(const PacketQuestion &question, const DeskRouter &desk) {
  return Reader(question, desk).read();
}

IntervalSet macsOfRules(const Router &router) {
  IntervalSet macs;
  for (const auto &[place, chain] : router.chains()) {
    for (const Rule &rule : chain.rules) {
      for (const Condition &each : rule.conditions) {
        if (each.field != kSourceMac) continue;
        const IntervalSet others = each.values.complement(largestOf(kSourceMac));
        const bool few = each.values.size() < others.size();
        for (const Interval &some : (few ? each.values : others).intervals()) macs.add(some);
      }
    }
  }
  return macs;
}

uint64_t macBut(const IntervalSet &macs) {
  const IntervalSet others = macs.complement(largestOf(kSourceMac))
                                 .intersection(IntervalSet::range(kSomeMac, largestOf(kSourceMac)));
  return others.empty() ? kSomeMac : others.intervals()[0].first;
}

}  // namespace orba::tool
