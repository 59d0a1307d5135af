#include "packets/ways.h"

#include <algorithm>

namespace packets {

namespace {

IntervalSet network(uint64_t address, int prefix) {
  const uint64_t hosts = 0xffffffffull >> prefix;
  return IntervalSet::range(address & ~hosts & 0xffffffff, address | hosts);
}

// The MAC addresses that all stations have, or some.
IntervalSet groupMacs() {
  IntervalSet macs;
  maskedValues(uint64_t{1} << 40, uint64_t{1} << 40, 48, 128, macs);
  return macs;
}

// In place of the number of a decision, for packets that are not of a flow.
constexpr uint32_t kOthers = UINT32_MAX;
// Where what no route leads to leaves; no interface has this number.
constexpr uint32_t kNowhere = kNoInterface + 1;
constexpr uint64_t kLoopback = 0;  // the interface by which the router sends to itself

bool refuses(Target::Kind kind) {
  return kind == Target::kDrop || kind == Target::kReject || kind == Target::kUnknown;
}

}  // namespace

Ways::Ways(Chains &chains, uint64_t interface, Node packets)
    : router_(chains.router()), diagrams_(chains.diagrams()), chains_(chains) {
  const Flow flow = {
      packets,
      {{{kIn, interface}, {kBridgePort, interface}, {kOut, kNoInterface}, {kMark, 0}}, {}}};
  if (interface == kNoInterface) {
    send(flow);
  } else if (!router_.network().interfaces[interface].bridge.empty()) {
    enterBridge(flow);
  } else {
    enterSession(flow);
  }
  if (ends_.empty()) return;
  // By halves, as rules are.
  const std::function<Node(size_t, size_t)> joined = [&](size_t begin, size_t end) {
    if (end - begin == 1) return ends_[begin];
    const size_t middle = (begin + end) / 2;
    return diagrams_.firstOf(joined(begin, middle), joined(middle, end));
  };
  // Some outcomes were only thought of.
  const Node places = joined(0, ends_.size());
  std::vector<Outcome> outcomes;
  std::map<uint32_t, uint32_t> kept;
  for (uint32_t place : diagrams_.values(places)) {
    if (place == 0) continue;  // a packet that was not asked about
    kept[place] = static_cast<uint32_t>(outcomes.size());
    outcomes.push_back(outcomes_[place - 1]);
  }
  outcomes_ = std::move(outcomes);
  kept[0] = static_cast<uint32_t>(outcomes_.size());
  function_ = diagrams_.map(places, [&](uint32_t place) { return kept[place]; });
}

// A function of packets as they are now, as one of packets as they came in.
Ways::Node Ways::now(Node function, const Flow &flow) {
  return diagrams_.with(function, flow.now.fields);
}

// The packets of a flow that no rule has decided about yet.
Ways::Node Ways::open(const Flow &flow) {
  return diagrams_.both(flow.packets, diagrams_.where(flow.decision, [](uint32_t number) {
    return number == Chains::kGoesOn;
  }));
}

bool Ways::refused(uint32_t number) const {
  const Decision *decision = chains_.decision(number);
  return decision != nullptr && refuses(decision->kind);
}

// About which packets a rule or a policy has decided so.
Ways::Node Ways::decided(const Flow &flow, bool (*wanted)(Target::Kind)) {
  return diagrams_.where(flow.decision, [&](uint32_t number) {
    const Decision *decision = chains_.decision(number);
    return decision != nullptr && wanted(decision->kind);
  });
}

// A rule that marks, or leads to one that does: the packets that it matches go a way of their own
// from here on.
void Ways::alter(const RuleAt &at, const Rule &rule, Flows &flows) {
  Flows matched;
  for (Flow &flow : flows) {
    const Node packets = diagrams_.both(open(flow), now(diagrams_.set(rule.conditions), flow));
    if (packets == Diagrams::kNone) continue;
    Node &acts = acts_[at];
    acts = diagrams_.either(acts, packets);
    flow.packets = diagrams_.without(flow.packets, packets);
    matched.push_back({packets, flow.now});
    if (rule.target.kind == Target::kMark) matched.back().now.fields[kMark] |= rule.target.mark;
  }
  if (rule.target.kind == Target::kJump) {
    pass({at.place.program, at.place.table, rule.target.chain}, matched);
  }
  for (const Flow &each : matched) {
    const auto same = std::find_if(flows.begin(), flows.end(),
                                   [&](const Flow &flow) { return flow.now == each.now; });
    if (same == flows.end()) {
      flows.push_back(each);
    } else {
      same->decision = diagrams_.choose(each.packets, each.decision, same->decision);
      same->packets = diagrams_.either(same->packets, each.packets);
    }
  }
}

// Leads flows through a chain.
void Ways::pass(const Place &place, Flows &flows) {
  const Chain *chain = router_.chain(place);
  if (chain == nullptr) return;
  const std::vector<Rule> &rules = chain->rules;
  for (size_t at = 0; at < rules.size();) {
    if (chains_.changes(rules[at], place)) {
      alter({place, at}, rules[at], flows);
      at++;
      continue;
    }
    Run run = {place, at, at};
    while (run.end < rules.size() && !chains_.changes(rules[run.end], place)) run.end++;
    for (Flow &flow : flows) {
      visits_.emplace_back(run, flow);
      flow.decision = diagrams_.firstOf(flow.decision, now(chains_.decide(run), flow));
    }
    at = run.end;
  }
  const Run behind = {place, RuleAt::kPolicy, RuleAt::kPolicy};
  for (Flow &flow : flows) {
    visits_.emplace_back(behind, flow);
    flow.decision = chains_.behind(place, *chain, flow.decision);
  }
}

Ways::Flows Ways::through(const Place &place, const Flow &flow) {
  if (flow.packets == Diagrams::kNone) return {};
  Flows flows = {{flow.packets, flow.now}};
  pass(place, flows);
  return flows;
}

// What a chain lets go on; the rest ends here.
Ways::Flows Ways::accepted(const Place &place, const Flow &flow) {
  Flows flows = through(place, flow);
  for (Flow &each : flows) {
    end(each, [&](uint32_t number) {
      return refused(number) ? std::optional(outcome(each, number)) : std::nullopt;
    });
    each.packets = diagrams_.without(each.packets, decided(each, &refuses));
  }
  return flows;
}

// What a session carries is lost where its frames are a bridge's.
void Ways::enterSession(const Flow &flow) {
  const Network &network = router_.network();
  const Interface *below = network.find(network.interfaces[flow.now.fields.at(kIn)].below);
  if (below == nullptr || below->bridge.empty()) return enter(flow);
  Flow frame = flow;
  frame.now.fields[kIn] = frame.now.fields[kBridgePort] = network.number(below->name);
  frame.now.fields[kEtherType] = kPppoeSession;
  frame.now.fields[kDestinationMac] = below->mac;
  for (const Flow &each : through({Place::kEbtables, "broute", "BROUTING"}, frame)) {
    const Node heard = diagrams_.both(
        each.packets, decided(each, [](Target::Kind kind) { return kind == Target::kDrop; }));
    enter({heard, flow.now});
    end({diagrams_.without(each.packets, heard), flow.now}, Verdict::kNobody);
  }
}

// A frame at a port. What broute drops is not bridged, and is routed where it is for that port.
void Ways::enterBridge(const Flow &flow) {
  for (const Flow &each : through({Place::kEbtables, "broute", "BROUTING"}, flow)) {
    const Node routed = decided(each, [](Target::Kind kind) { return kind == Target::kDrop; });
    const Node unknown = decided(each, [](Target::Kind kind) { return kind == Target::kUnknown; });
    const Node for_port = diagrams_.set({kDestinationMac, portMacs(each)});
    enter({diagrams_.both(each.packets, diagrams_.both(routed, for_port)), each.now});
    end({diagrams_.both(each.packets, diagrams_.without(routed, for_port)), each.now},
        Verdict::kNobody);
    end({diagrams_.both(each.packets, unknown), each.now, each.decision}, Verdict::kUnknown);
    bridge({diagrams_.without(each.packets, diagrams_.either(routed, unknown)), each.now});
  }
}

// For which addresses a port hears frames itself.
IntervalSet Ways::portMacs(const Flow &flow) const {
  IntervalSet own = groupMacs();
  const uint64_t mac = router_.network().interfaces[flow.now.fields.at(kBridgePort)].mac;
  own.add({mac, mac});
  return own;
}

void Ways::bridge(const Flow &flow) {
  const Network &network = router_.network();
  const uint64_t port = flow.now.fields.at(kBridgePort);
  const std::string &name = network.interfaces[port].bridge;
  IntervalSet own = portMacs(flow);
  const uint64_t mac = network.interfaces[network.number(name)].mac;
  own.add({mac, mac});
  // Nobody has said which port it leaves by.
  const Node anywhere = diagrams_.set({kBridgePortOut, IntervalSet::one(kNoInterface)});
  const Node for_router = diagrams_.set({kDestinationMac, own});
  for (const Flow &each : accepted({Place::kEbtables, "nat", "PREROUTING"}, flow)) {
    Flow here = {diagrams_.both(each.packets, for_router), each.now};
    here.now.fields[kIn] = network.number(name);
    for (const Flow &in : accepted({Place::kEbtables, "filter", "INPUT"}, here)) enter(in);
    const Flow others = {diagrams_.without(each.packets, for_router), each.now};
    for (const Flow &on : accepted({Place::kEbtables, "filter", "FORWARD"}, others)) {
      end({diagrams_.both(on.packets, anywhere), on.now, on.decision}, Verdict::kBridged);
      const Flow to_port = {diagrams_.without(on.packets, anywhere), on.now};
      for (const Flow &out : accepted({Place::kEbtables, "nat", "POSTROUTING"}, to_port)) {
        end({out.packets, out.now, on.decision}, Verdict::kBridged);
      }
    }
  }
}

// The router's own network code. The rules of nat see the first packet of a connection.
void Ways::enter(const Flow &flow) {
  const Node ipv4 = diagrams_.set({kEtherType, IntervalSet::one(0x0800)});
  const Node first = diagrams_.both(ipv4, diagrams_.set({kState, IntervalSet::one(kNew)}));
  end({diagrams_.without(flow.packets, ipv4), flow.now, flow.decision}, Verdict::kDelivered);
  translate({diagrams_.both(flow.packets, first), flow.now});
  route({diagrams_.both(flow.packets, diagrams_.without(ipv4, first)), flow.now});
}

void Ways::translate(const Flow &flow) {
  for (const Flow &each : accepted({Place::kIptables, "nat", "PREROUTING"}, flow)) {
    const Node translated = diagrams_.both(
        each.packets, decided(each, [](Target::Kind kind) { return kind == Target::kDnat; }));
    route({diagrams_.without(each.packets, translated), each.now});
    for (const auto &[number, packets] :
         diagrams_.parts(diagrams_.choose(translated, each.decision, Diagrams::kNone))) {
      if (number == Chains::kGoesOn) continue;
      const RuleAt &at = *chains_.decision(number)->at;
      const Target &target = router_.chain(at.place)->rules[at.rule].target;
      Flow part = {packets, each.now};
      part.now.translated_by = at;
      part.now.fields[kDestination] = target.addresses.intervals()[0].first;
      if (!target.ports.empty()) {
        part.now.fields[kDestinationPort] = target.ports.intervals()[0].first;
      }
      route(part);
    }
  }
}

Ways::Node Ways::routesOf(uint64_t mark) {
  const auto [found, unknown] = routes_by_mark_.try_emplace(mark, Diagrams::kNone);
  if (!unknown) return found->second;
  Node routes = Diagrams::kNone;
  for (const Route &route : router_.network().routesFor(static_cast<uint32_t>(mark))) {
    routes_.push_back(route);
    const Node there = diagrams_.set({kDestination, network(route.destination, route.prefix)});
    routes = diagrams_.firstOf(
        routes, diagrams_.choose(there, diagrams_.constant(static_cast<uint32_t>(routes_.size())),
                                 Diagrams::kNone));
  }
  return routes_by_mark_[mark] = routes;
}

// The addresses of the router. Where there are rules for routing it also notices that nobody
// sends from the address of a whole network.
IntervalSet Ways::noHosts() const {
  const Network &known = router_.network();
  IntervalSet addresses;
  if (known.rules.empty()) {
    for (const Interface &interface : known.interfaces) {
      for (const Address &own : interface.addresses) addresses.add({own.address, own.address});
    }
    return addresses;
  }
  for (const Route &route : known.routesFor(0)) {
    if (route.kind == Route::kUnicast) continue;
    addresses.add(network(route.destination, route.prefix).intervals()[0]);
  }
  return addresses;
}

void Ways::route(const Flow &flow) {
  const auto to = [&](const IntervalSet &addresses) {
    return now(diagrams_.set({kDestination, addresses}), flow);
  };
  const auto from = [&](const IntervalSet &addresses) {
    return now(diagrams_.set({kSource, addresses}), flow);
  };
  const IntervalSet groups = network(0xe0000000, 4), nobody = IntervalSet::one(0),
                    loopback = network(0x7f000000, 8), everybody = IntervalSet::one(0xffffffff),
                    all_hosts = IntervalSet::one(0xe0000001);
  Node left = flow.packets;
  const auto take = [&](Node packets) {
    const Flow taken = {diagrams_.both(left, packets), flow.now};
    left = diagrams_.without(left, packets);
    return taken;
  };
  // A host that has no address yet may send to nobody in particular.
  const Node unaddressed = diagrams_.both(from(nobody), to(nobody));
  const Node to_all = diagrams_.either(unaddressed, to(everybody));
  const Node to_many = diagrams_.either(to_all, to(groups));
  const Node loops = diagrams_.either(from(loopback), to(loopback));
  const Node outs = outsOf(flow);
  const Node nowhere = diagrams_.where(outs, [](uint32_t out) { return out == kNowhere; });
  // Only where a packet has a route is its source held against the routes.
  const Node no_hosts = diagrams_.without(from(noHosts()), diagrams_.without(nowhere, to_many));
  for (Node martians :
       {from(groups), from(everybody), no_hosts, diagrams_.without(loops, to_all),
        diagrams_.without(from(nobody), to_many), diagrams_.without(to(nobody), unaddressed)}) {
    end(take(martians), Verdict::kMartian);
  }
  end(take(diagrams_.without(to(groups), to(all_hosts))), Verdict::kNobody);
  deliver(take(to_many));
  for (const auto &[out, packets] : diagrams_.parts(outs)) {
    Flow part = take(packets);
    if (out == kNowhere) {
      end(part, Verdict::kNoRoute);
      continue;
    }
    part.now.fields[kOut] = out;
    if (out == kNoInterface) {
      deliver(part);
    } else {
      // Nobody's router passes on what was for all stations or some of them.
      const Node to_group = diagrams_.set({kDestinationMac, groupMacs()});
      end({diagrams_.both(part.packets, to_group), part.now}, Verdict::kNobody);
      part.packets = diagrams_.without(part.packets, to_group);
      forward(part);
    }
  }
}

// By where packets leave: kNoInterface for what is the router's own, kNowhere without a route.
Ways::Node Ways::outsOf(const Flow &flow) {
  return diagrams_.map(
      now(routesOf(flow.now.fields.at(kMark)), flow), [&](uint32_t place) -> uint32_t {
        if (place == 0) return kNowhere;
        const Route &route = routes_[place - 1];
        const bool sends = flow.now.fields.at(kIn) == kNoInterface;
        if (route.kind == Route::kLocal || (route.kind == Route::kBroadcast && !sends)) {
          return kNoInterface;
        }
        return static_cast<uint32_t>(router_.network().number(route.device));
      });
}

// What the router itself sends. The rules of nat see the first packet of a connection.
void Ways::send(const Flow &flow) {
  const Node first = diagrams_.set(Condition{kState, IntervalSet::one(kNew)});
  for (const auto &[out, packets] : diagrams_.parts(outsOf(flow))) {
    Flow part = {diagrams_.both(flow.packets, packets), flow.now};
    if (out == kNowhere) {
      end(part, Verdict::kNoRoute);
      continue;
    }
    part.now.fields[kOut] = out == kNoInterface ? kLoopback : out;
    for (Flow &each : accepted({Place::kIptables, "nat", "OUTPUT"},
                               {diagrams_.both(part.packets, first), part.now})) {
      const Node translated =
          decided(each, [](Target::Kind kind) { return kind == Target::kDnat; });
      end({diagrams_.both(each.packets, translated), each.now}, Verdict::kUnknown);
      leave({diagrams_.without(each.packets, translated), each.now});
    }
    leave({diagrams_.without(part.packets, first), part.now});
  }
}

void Ways::leave(const Flow &flow) {
  if (flow.now.fields.at(kOut) != kLoopback) return forward(flow, "OUTPUT");
  for (Flow &each : accepted({Place::kIptables, "filter", "OUTPUT"}, flow)) {
    each.now.fields[kIn] = each.now.fields[kBridgePort] = kLoopback;
    each.now.fields[kOut] = kNoInterface;
    deliver({each.packets, each.now});
  }
}

void Ways::deliver(const Flow &flow) {
  for (const Flow &each : through({Place::kIptables, "filter", "INPUT"}, flow)) {
    end(each, [&](uint32_t number) {
      Outcome delivered = outcome(each, number);
      if (!refused(number)) delivered.verdict = Verdict::kDelivered;
      return delivered;
    });
  }
}

// What a filter's chain lets leave.
void Ways::forward(const Flow &flow, const char *filter) {
  const Node first = diagrams_.set({kState, IntervalSet::one(kNew)});
  for (const Flow &each : through({Place::kIptables, "filter", filter}, flow)) {
    // What is done to a packet that leaves, where the flow is of first packets of connections.
    const Node leaving = diagrams_.without(first, decided(each, &refuses));
    Node done = Diagrams::kNone;
    for (const Flow &out : through({Place::kIptables, "nat", "POSTROUTING"},
                                   {diagrams_.both(each.packets, leaving), each.now})) {
      done = out.decision;
    }
    const Node decisions =
        diagrams_.choose(each.packets, each.decision, diagrams_.constant(kOthers));
    ends_.push_back(
        diagrams_.combine(decisions, done, [&](uint32_t number, uint32_t behind) -> uint32_t {
          if (number == kOthers) return 0;
          Outcome forwarded = outcome(each, refused(number)   ? number
                                            : refused(behind) ? behind
                                                              : number);
          if (!refused(number) && !refused(behind)) {
            const Decision *decision = chains_.decision(behind);
            forwarded.verdict = Verdict::kForwarded;
            forwarded.out = each.now.fields.at(kOut);
            forwarded.masqueraded = decision != nullptr && decision->kind == Target::kMasquerade;
          }
          return placeOf(forwarded);
        }));
  }
}

// What a packet has come to, and which decision it ends with.
Outcome Ways::outcome(const Flow &flow, uint32_t number) const {
  const auto changed = [&](FieldId field) -> std::optional<uint64_t> {
    const auto found = flow.now.fields.find(field);
    if (found == flow.now.fields.end()) return std::nullopt;
    return found->second;
  };
  Outcome outcome;
  outcome.translated_by = flow.now.translated_by;
  outcome.destination = changed(kDestination);
  outcome.port = changed(kDestinationPort);
  outcome.mark = static_cast<uint32_t>(changed(kMark).value_or(0));
  const Decision *decision = chains_.decision(number);
  if (decision == nullptr) return outcome;
  outcome.decided_by = decision->at;
  if (decision->kind == Target::kReject) outcome.verdict = Verdict::kRejected;
  if (decision->kind == Target::kUnknown) outcome.verdict = Verdict::kUnknown;
  return outcome;
}

// The place of an outcome, from 1.
uint32_t Ways::placeOf(const Outcome &outcome) {
  const auto [found, unknown] =
      places_.try_emplace(outcome, static_cast<uint32_t>(outcomes_.size() + 1));
  if (unknown) outcomes_.push_back(outcome);
  return found->second;
}

// Some of a flow's decisions, or all of them, have an outcome.
void Ways::end(const Flow &flow,
               const std::function<std::optional<Outcome>(uint32_t number)> &outcome) {
  if (flow.packets == Diagrams::kNone) return;
  const Node decisions = diagrams_.choose(flow.packets, flow.decision, diagrams_.constant(kOthers));
  ends_.push_back(diagrams_.map(decisions, [&](uint32_t number) -> uint32_t {
    if (number == kOthers) return 0;
    const std::optional<Outcome> here = outcome(number);
    return here ? placeOf(*here) : 0;
  }));
}

void Ways::end(const Flow &flow, Verdict verdict) {
  end(flow, [&](uint32_t number) {
    Outcome ended = outcome(flow, number);
    ended.verdict = verdict;
    return ended;
  });
}

Ways::Node Ways::surely(const std::function<bool(const Outcome &)> &wanted) {
  return diagrams_.forAllAnswers(
      diagrams_.where(function_, [&](uint32_t place) { return wanted(outcomes_[place]); }));
}

Ways::Node Ways::possibly(const std::function<bool(const Outcome &)> &wanted) {
  return diagrams_.forSomeAnswer(
      diagrams_.where(function_, [&](uint32_t place) { return wanted(outcomes_[place]); }));
}

Ways::Node Ways::actsOn(const RuleAt &rule) {
  for (const auto &[run, flow] : visits_) {
    const auto add = [&](const RuleAt &at, Node packets) {
      Node &acts = acts_[at];
      acts = diagrams_.either(acts, packets);
    };
    if (run.begin == RuleAt::kPolicy) {
      const Node to_policy = chains_.toPolicy(*router_.chain(run.place), flow.decision);
      add({run.place, RuleAt::kPolicy}, diagrams_.both(flow.packets, to_policy));
      continue;
    }
    const Node still_open = open(flow);
    for (const auto &[at, matched] : chains_.acts(run)) {
      add(at, diagrams_.both(still_open, now(matched, flow)));
    }
  }
  visits_.clear();
  const auto found = acts_.find(rule);
  return found == acts_.end() ? Diagrams::kNone : found->second;
}

}  // namespace packets
