// Two evaluators that were written apart, and a third that somebody else wrote, on random routers.
#include <gmock/gmock.h>

#include <bit>
#include <cstring>
#include <random>
#include <set>
#include <sstream>

#ifdef ORBA_HAVE_Z3
#include <z3++.h>
#endif

#include "packets/walk.h"
#include "packets/ways.h"

namespace packets {
namespace {

using Node = Diagrams::Node;

using Commands = std::vector<std::string>;

Router routerOf(const Commands &commands) {
  Network network;
  network.bridges = {"br0"};
  network.add({"eth2.2", 0x000c43000002, {{0xcb007101, 24}}, {}, true});   // 203.0.113.1
  network.add({"ppp0", 0, {{0xc6336402, 32}}, {}, true, 1492, "eth2.2"});  // 198.51.100.2
  network.add({"br0", 0x000c43000001, {{0xc0a80101, 24}}, {}, true});      // 192.168.1.1
  network.add({"eth2.1", 0x000c43000001, {}, "br0", true});
  network.add({"ra0", 0x000c43000003, {}, "br0", true});
  Router router(network);
  for (size_t i = 0; i < commands.size(); i++) router.run(commands[i], i);
  return router;
}

// Commands with numbers that lie close together, so that their rules overlap, and packets that lie
// at the edges of these.
class RandomRouter {
 public:
  explicit RandomRouter(unsigned int seed) : numbers_(seed) {}

  Commands commands() {
    commands_ = {"iptables -t nat -N LAN_NAT_CHAIN",
                 "iptables -t nat -A POSTROUTING -j LAN_NAT_CHAIN", "nat.sh"};
    if (chance(4)) add("brctl addif br0 eth2.2");
    if (!chance(8)) add("ip route add default via 203.0.113.254 dev eth2.2");
    if (chance(2)) {
      add("ip route add default via 198.51.100.1 dev ppp0 table pf_2");
      add("route add -net 10.0.0.0 netmask 255.0.0.0 gw 192.168.1.9 dev br0");
      add("ip rule add fwmark 0x20000000/0xe0000000 prio 50 table pf_2");
    }
    for (const char *chain : {"one", "two", "three"}) {
      add(std::string("iptables -N ") + chain);
      add(std::string("iptables -t nat -N ") + chain);
      for (const char *table : {"broute", "nat", "filter"}) {
        add(std::string("ebtables -t ") + table + " -N " + chain);
        if (chance(2)) {
          add(std::string("ebtables -t ") + table + " -P " + chain + " " +
              pick({"RETURN", "DROP", "ACCEPT"}));
        }
      }
    }
    for (const char *chain : {"INPUT", "FORWARD", "one", "two", "three"}) {
      for (uint64_t i = below(9); i > 0; i--) add(filterRule(chain));
      if (chance(4)) add(std::string("iptables -P ") + chain + " DROP");
    }
    for (const char *chain : {"PREROUTING", "one", "two"}) {
      for (uint64_t i = below(4); i > 0; i--) add(natRule(chain));
    }
    for (const char *place :
         {"-t broute -A BROUTING", "-t nat -A PREROUTING", "-A INPUT", "-A FORWARD",
          "-t nat -A POSTROUTING", "-t broute -A one", "-t nat -A one", "-A one", "-A two"}) {
      for (uint64_t i = below(3); i > 0; i--) add(bridgeRule(place));
    }
    if (chance(8)) add("/bin/super_dmz -t 80 -u 53");
    return commands_;
  }

  // The same with another number, or another end, in one rule of the filter.
  Commands altered(Commands commands) {
    for (;;) {
      std::string &command = commands[below(commands.size())];
      if (command.find("iptables -A ") != 0 || command.find("INPUT") != std::string::npos) continue;
      for (const auto &[from, to] : {std::pair("port 40", "port 41"),
                                     {"port 80", "port 81"},
                                     {":1536", ":1537"},
                                     {"/26", "/27"},
                                     {".20", ".21"},
                                     {"br+", "eth+"},
                                     {"ACCEPT", "DROP"},
                                     {"DROP", "RETURN"}}) {
        const size_t found = command.find(from);
        if (found == std::string::npos) continue;
        command.replace(found, strlen(from), to);
        return commands;
      }
    }
  }

  // One that lies at an edge of some rule, most of the time.
  Packet packet(const Router &router, uint64_t interface) {
    Packet packet;
    packet[kBridgePort] = packet[kIn] = interface;
    packet[kSource] = 0xc0a80114;
    packet[kDestination] =
        pick<uint64_t>({0xc0a80101, 0xcb007101, 0x08080808, 0xc0a80114, 0x0a010203});
    packet[kProtocol] = pick<uint64_t>({kTcp, kUdp, kIcmp, 47});
    packet[kState] = pick<uint64_t>({kNew, kNew, kNew, kEstablished, kRelated, kInvalid});
    packet[kDestinationMac] =
        pick<uint64_t>({0x000c43000001, 0x000c43000003, 0xffffffffffff, 0x020000000005});
    packet[kBridgePortOut] = pick<uint64_t>({kNoInterface, 4, 5});
    packet[kTcpFlags] = packet[kProtocol] == kTcp ? below(64) : 0;
    if (chance(10)) packet[kEtherType] = pick<uint64_t>({0x0806, 0x8863, 0x8864});
    for (const auto &[place, chain] : router.chains()) {
      for (const Rule &rule : chain.rules) {
        for (const Condition &each : rule.conditions) {
          if (!chance(4) || each.field == kIn || each.field == kBridgePort || each.field == kOut ||
              each.field == kMark) {
            continue;
          }
          packet[each.field] = edge(each.values, largestOf(each.field));
        }
        if (chance(6) && !rule.target.addresses.empty()) {
          packet[kDestination] = edge(rule.target.addresses, 0xffffffff);
        }
      }
    }
    if (chance(5)) packet[chance(2) ? kSource : kDestination] = address();
    for (size_t i = 0; i < router.unknowns().size(); i++) {
      packet[static_cast<FieldId>(kFields + i)] = below(2);
    }
    return packet;
  }

 private:
  uint64_t below(uint64_t limit) { return numbers_() % limit; }
  bool chance(uint64_t in) { return below(in) == 0; }
  template <typename Value = const char *>
  Value pick(std::initializer_list<Value> values) {
    return values.begin()[below(values.size())];
  }
  void add(const std::string &command) { commands_.push_back(command); }
  // The first or last number of an interval, or its neighbour outside.
  uint64_t edge(const IntervalSet &values, uint64_t largest) {
    if (values.empty()) return below(2) * largest;
    const Interval &interval = values.intervals()[below(values.intervals().size())];
    const uint64_t value = chance(2) ? interval.first - chance(3) : interval.last + chance(3);
    return std::min(value, largest);
  }
  uint64_t address() {
    return pick<uint64_t>({0, 5, 0x7f000001, 0xe0000001, 0xe0000002, 0xefffffff, 0xf0000000,
                           0xffffffff, 0xcb0071ff, 0xc0a801ff, 0xc6336402, 0xcb007101, 0x0a000000,
                           0xcb007200, 0xc0a80101});
  }
  std::string network() {
    return pick({"192.168.1.20", "192.168.1.0/24", "192.168.1.64/26", "10.0.0.0/8", "8.8.8.8",
                 "203.0.113.0/25", "0.0.0.0/0", "192.168.1.96/28"});
  }
  std::string ports() {
    const uint64_t first = below(6) * 40;
    return std::to_string(first) + (chance(2) ? ":" + std::to_string(first + below(100)) : "");
  }
  std::string protocol() {
    switch (below(5)) {
      case 0:
        return "-p tcp --dport " + ports();
      case 1:
        return std::string("-p udp ") + (chance(2) ? "--sport " : "--dport ") + ports();
      case 2:
        return "-p tcp " +
               pick<std::string>({"--syn", "--tcp-flags SYN,RST SYN", "--tcp-flags ALL NONE",
                                  "--tcp-flags ALL FIN,URG,PSH"});
      case 3:
        return pick({"-p icmp --icmp-type 8", "-p 2", "-p icmp -m length ! --length 0:1536",
                     "-p tcp --sport ! 80"});
      default:
        return "";
    }
  }
  std::string conditions() {
    std::string text = protocol();
    if (chance(3)) text += " -s " + network();
    if (chance(4)) text += std::string(" ") + pick({"-d ", "! -d "}) + network();
    if (chance(4)) text += pick({" -i br+", " ! -i br+", " -i eth2.2", " -i lo"});
    if (chance(6))
      text += pick({" -m state --state NEW,INVALID", " -m state --state RELATED,ESTABLISHED"});
    if (chance(8))
      text += pick({" -m mac --mac-source 00:0C:43:30:00:10",
                    " -m iprange --src-range 192.168.1.10-192.168.1.30",
                    " -m macrange --src-macrange 00:0C:43:30:00:00-00:0C:43:30:00:FF"});
    if (chance(8)) text += pick({" -m limit --limit 1/s", " -m webstr --host bad.example"});
    return text;
  }
  std::string filterRule(const std::string &chain) {
    const bool built_in = chain == "INPUT" || chain == "FORWARD";
    const char *next = built_in ? "one" : chain == "one" ? "two" : "three";
    return "iptables -A " + chain + " " + conditions() + " -j " +
           pick<std::string>({"ACCEPT", "DROP", "RETURN", "LOG", "REJECT", next, next, next});
  }
  std::string natRule(const std::string &chain) {
    std::string target = pick<std::string>(
        {"ACCEPT", "RETURN", chain == "PREROUTING" ? "one" : "two", "DNAT --to 192.168.1.20",
         "DNAT --to 192.168.1.21", "DNAT --to 192.168.1.1"});
    if (chain == "two" && target == "two") target = "RETURN";
    if (chance(5)) {
      return "iptables -t nat -A " + chain + " -p tcp --dport " + ports() +
             " -j DNAT --to 192.168.1.20:" + std::to_string(below(6) * 40);
    }
    return "iptables -t nat -A " + chain + " " + conditions() + " -j " + target;
  }
  std::string bridgeRule(const std::string &place) {
    std::string text = "ebtables " + place +
                       pick({"", place.back() == 'G' ? " -o ra0" : "", " -s 00:0C:43:30:00:10",
                             " -p ipv4 --ip-src 192.168.1.0/24",
                             " -p ipv4 --ip-src 192.168.1.20 --ip-proto 17 --ip-sport 80",
                             " -p ! 0x8863", " -p 0x8864"});
    const char chain = place.back();
    if (chain == 'T' || place == "-A two") {
      if (chance(2))
        return text + " -j mark --mark-or 0x" + pick({"20000000", "40000000", "1"}) +
               " --mark-target CONTINUE";
    }
    return text + " -j " + pick({"DROP", "ACCEPT", "RETURN", "one", "two"});
  }

  std::mt19937 numbers_;
  Commands commands_;
};

Outcome outcomeOf(const Walk &walk, const Packet &packet) {
  Outcome outcome;
  outcome.verdict = walk.verdict;
  outcome.decided_by = walk.decided_by;
  outcome.translated_by = walk.translated_by;
  outcome.destination = walk.end[kDestination];
  outcome.port = walk.end[kDestinationPort];
  outcome.mark = static_cast<uint32_t>(walk.end[kMark]);
  if (walk.verdict == Verdict::kForwarded) {
    outcome.out = walk.end[kOut];
    outcome.masqueraded = walk.end[kSource] != packet[kSource];
  }
  return outcome;
}

std::string told(const RuleAt &at) {
  return at.place.table + " " + at.place.chain + " " + std::to_string(at.rule) + "\n";
}

std::string told(const std::set<RuleAt> &rules) {
  std::string text;
  for (const RuleAt &each : rules) text += told(each);
  return text;
}

std::string told(const Outcome &outcome, const Packet &packet) {
  std::ostringstream text;
  text << "verdict " << static_cast<int>(outcome.verdict) << " out " << outcome.out << " to "
       << addressText(outcome.destination.value_or(packet[kDestination])) << ":"
       << outcome.port.value_or(packet[kDestinationPort]) << " mark " << outcome.mark
       << (outcome.masqueraded ? " masqueraded" : "") << " by "
       << told(outcome.decided_by.value_or(RuleAt())) << "translated by "
       << told(outcome.translated_by.value_or(RuleAt()));
  return text.str();
}

std::string told(const Packet &packet) {
  std::ostringstream text;
  for (FieldId field = 0; field < kFields + 9; field++)
    text << field << "=" << packet[field] << " ";
  return text.str();
}

// As a booted router's kernel has it: a port's frames are the bridge's, but for what broute drops;
// and that is the router's own only where the frame is for the port.
TEST(Broute, HandsFramesToTheRouterPastTheBridge) {
  const std::string in = "brctl addif br0 eth2.2", out = "ebtables -t broute -A BROUTING -p ";
  constexpr uint64_t kPort = 1, kSession = 2, kOwn = 0x000c43000002, kBridge = 0x000c43000001;
  const struct {
    Commands commands;
    uint64_t interface, mac;
    Verdict verdict;
  } cases[] = {
      {{}, kSession, 0, Verdict::kDelivered},
      {{in}, kSession, 0, Verdict::kNobody},
      {{in, out + "0x8863 -j DROP"}, kSession, 0, Verdict::kNobody},
      {{in, out + "0x8864 -j DROP"}, kSession, 0, Verdict::kDelivered},
      {{in, "ebtables -A INPUT -j DROP"}, kPort, kBridge, Verdict::kDropped},
      {{in, "ebtables -A INPUT -j DROP", out + "0x0800 -j DROP"}, kPort, kBridge, Verdict::kNobody},
      {{in, "ebtables -A INPUT -j DROP", out + "0x0800 -j DROP"}, kPort, kOwn, Verdict::kDelivered},
  };
  for (const auto &[commands, interface, mac, verdict] : cases) {
    Packet packet;
    packet[kBridgePort] = packet[kIn] = interface;
    packet[kSource] = 0x08080808;
    packet[kDestination] = 0xcb007101;
    packet[kDestinationMac] = mac;
    EXPECT_EQ(walk(routerOf(commands), packet).verdict, verdict)
        << testing::PrintToString(commands) << ' ' << mac;
  }
}

TEST(Engines, AgreeOnRandomRouters) {
  std::map<Verdict, int> seen;
  for (unsigned int seed = 1; seed <= 60; seed++) {
    RandomRouter random(seed);
    Commands commands = random.commands();
    commands.push_back("iptables -A OUTPUT -j one");
    const Router router = routerOf(commands);
    SCOPED_TRACE(testing::Message() << "seed " << seed << testing::PrintToString(commands));
    Diagrams diagrams;
    for (uint64_t interface : {uint64_t{1}, uint64_t{2}, uint64_t{4}, uint64_t{5}, kNoInterface}) {
      Ways ways(router, diagrams, interface);
      Ways verdicts(router, diagrams, interface, Deciders::kUntold);
      std::map<RuleAt, Node> acts;
      for (const auto &[place, chain] : router.chains()) {
        for (size_t i = 0; i < chain.rules.size(); i++) acts[{place, i}] = ways.actsOn({place, i});
        acts[{place}] = ways.actsOn({place});
      }
      for (int i = 0; i < 100; i++) {
        const Packet packet = random.packet(router, interface);
        const bool own = interface == kNoInterface;
        const Walk walked = own ? walkFromRouter(router, packet) : walk(router, packet);
        Outcome found = ways.outcomes()[diagrams.value(ways.function(), packet)];
        // What has the router's address already does not show that it was given it.
        if (own) found.masqueraded = found.masqueraded && walked.end[kSource] != packet[kSource];
        seen[walked.verdict]++;
        ASSERT_EQ(told(found, packet), told(outcomeOf(walked, packet), packet)) << told(packet);
        ASSERT_EQ(verdicts.outcomes()[diagrams.value(verdicts.function(), packet)].verdict,
                  found.verdict);
        if (i % 10 != 0) continue;
        std::set<RuleAt> met, acting;
        for (const Step &step : walked.steps) {
          if (step.matched || step.kind == Step::kPolicy) met.insert(step.at);
        }
        for (const auto &[at, node] : acts) {
          if (diagrams.value(node, packet) != 0) acting.insert(at);
        }
        met.erase(RuleAt{});
        ASSERT_EQ(told(acting), told(met)) << told(packet);
      }
    }
  }
  EXPECT_EQ(seen.size(), 9u);  // every verdict
}

#ifdef ORBA_HAVE_Z3
// The filter's FORWARD as a formula. Every field has as many values as its bits have.
class Formulas {
 public:
  z3::context context;

  z3::expr field(FieldId id) {
    const auto bits = static_cast<unsigned int>(std::bit_width(largestOf(id)));
    return context.bv_const(std::to_string(id).c_str(), bits);
  }
  z3::expr number(uint64_t value) { return context.bv_val(value, 8); }

  z3::expr holds(const Conditions &conditions) {
    z3::expr all = context.bool_val(true);
    for (const Condition &each : conditions) {
      z3::expr any = context.bool_val(false);
      const unsigned int bits = field(each.field).get_sort().bv_size();
      for (const Interval &values : each.values.intervals()) {
        any = any || (z3::uge(field(each.field), context.bv_val(values.first, bits)) &&
                      z3::ule(field(each.field), context.bv_val(values.last, bits)));
      }
      all = all && any;
    }
    return all;
  }
  // Which kind of target decides, kGoOn for none.
  z3::expr kind(const Router &router, const std::string &name) {
    const Chain &chain = *router.chain({Place::kIptables, "filter", name});
    z3::expr kind = number(chain.built_in ? chain.policy : Target::kGoOn);
    const z3::expr end = kind;
    for (auto rule = chain.rules.rbegin(); rule != chain.rules.rend(); ++rule) {
      z3::expr decided = number(rule->target.kind);
      if (rule->target.kind == Target::kGoOn) continue;
      if (rule->target.kind == Target::kReturn) decided = end;
      if (rule->target.kind == Target::kJump) {
        const z3::expr there = this->kind(router, rule->target.chain);
        decided = z3::ite(there == number(Target::kGoOn), kind, there);
      }
      kind = z3::ite(holds(rule->conditions), decided, kind);
    }
    return kind;
  }
  z3::expr accepts(const Router &router) {
    return kind(router, "FORWARD") == number(Target::kAccept);
  }
  z3::expr isIn(const Diagrams &diagrams, Node set) {
    z3::expr any = context.bool_val(false);
    diagrams.boxes(set, [&](const Conditions &box) { any = any || holds(box); });
    return any;
  }
  // A packet for which a formula holds.
  std::optional<Packet> solution(const z3::expr &formula) {
    z3::solver solver(context);
    solver.add(formula);
    if (solver.check() != z3::sat) return std::nullopt;
    Packet packet;
    for (FieldId id = 0; id < kFields + 9; id++) {
      packet[id] = solver.get_model().eval(field(id), true).get_numeral_uint64();
    }
    return packet;
  }
};

Node accepted(Diagrams &diagrams, const Router &router) {
  Chains chains(router, diagrams, Deciders::kUntold);
  const Place forward = {Place::kIptables, "filter", "FORWARD"};
  const Chain &chain = *router.chain(forward);
  return diagrams.where(
      chains.behind(forward, chain, chains.decide({forward, 0, chain.rules.size()})),
      [&](uint32_t number) {
        const Decision *decision = chains.decision(number);
        return decision != nullptr && decision->kind == Target::kAccept;
      });
}

// What Z3 proves equal is one node, and where it finds a packet of one set only, so do these.
TEST(Engines, AgreeWithASolver) {
  int refuted = 0;
  for (unsigned int seed = 1; seed <= 25; seed++) {
    RandomRouter random(seed);
    const Commands commands = random.commands();
    const Router router = routerOf(commands);
    SCOPED_TRACE(testing::Message() << "seed " << seed << testing::PrintToString(commands));
    Diagrams diagrams;
    Formulas formulas;
    const Node set = accepted(diagrams, router);
    const z3::expr formula = formulas.accepts(router);
    EXPECT_FALSE(formulas.solution(formula != formulas.isIn(diagrams, set)));
    for (int alteration = 0; alteration < 3; alteration++) {
      const Router other = routerOf(random.altered(commands));
      const Node other_set = accepted(diagrams, other);
      const auto difference = formulas.solution(formula != formulas.accepts(other));
      ASSERT_EQ(difference.has_value(), set != other_set);
      if (!difference) continue;
      EXPECT_NE(diagrams.value(set, *difference), diagrams.value(other_set, *difference));
      refuted++;
    }
  }
  EXPECT_GT(refuted, 10);
}
#endif

}  // namespace
}  // namespace packets
