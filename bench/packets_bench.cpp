// How long questions about all packets take: rules made to a function, sets asked for and compared,
// beside a library of binary decision diagrams that has the same rules.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "packets/ways.h"

#ifdef BENCH_BUDDY
#include <bdd.h>
#endif

namespace {

using namespace packets;
using Node = Diagrams::Node;

// Whom filter records are about: hosts and networks, or MAC addresses as well, which makes no
// order of fields a good one.
enum Kind { kHosts, kDevices };

// Records as users write them, with the commands that they become.
class Records {
 public:
  Records(Kind kind, unsigned int seed) : kind_(kind), numbers_(seed) {}

  std::string command() {
    std::string text = "iptables -A macipport_filter" + whom();
    if (below(4) == 0) text += " -d " + addressText(numbers_()) + (below(2) ? "/24" : "");
    if (below(8) != 0) {
      const uint64_t first = below(4) ? 1 + below(1024) : 1024 + below(60000);
      text += (below(3) ? " -p tcp --dport " : " -p udp --dport ") + std::to_string(first);
      if (below(3) == 0)
        text += ":" + std::to_string(std::min<uint64_t>(first + below(2000), 65535));
    }
    return text + (below(8) ? " -j DROP" : " -j ACCEPT");
  }

 private:
  uint64_t below(uint64_t limit) { return numbers_() % limit; }
  std::string whom() {
    const std::string network = "192.168." + std::to_string(below(8)) + ".";
    const uint64_t mac = 0x000c43000000 + below(1 << 16);
    switch (below(10)) {
      case 0:
        return " -s " + network + "0/24";
      case 1:
        return " -s " + network + std::to_string(16 * below(16)) + "/28";
      case 2:
        if (kind_ == kDevices) return " -m mac --mac-source " + macText(mac);
        break;
      case 3:
        if (kind_ == kDevices) {
          return " -m macrange --src-macrange " + macText(mac) + "-" + macText(mac + below(256));
        }
    }
    return " -s " + network + std::to_string(1 + below(254));
  }

  const Kind kind_;
  std::mt19937 numbers_;
};

constexpr uint64_t kLan = 2;
const Place kRecords = {Place::kIptables, "filter", "macipport_filter"};

std::vector<std::string> gateway(Kind kind, int64_t records, unsigned int seed) {
  std::vector<std::string> commands = {
      "ip route add default via 203.0.113.254 dev eth2.2",
      "iptables -N macipport_filter",
      "iptables -A FORWARD -j macipport_filter",
      "iptables -A FORWARD -m state --state RELATED,ESTABLISHED -j ACCEPT",
      "iptables -A FORWARD -i eth2.2 -j DROP",
  };
  Records written(kind, seed);
  for (int64_t i = 0; i < records; i++) commands.push_back(written.command());
  return commands;
}

Router routerOf(const std::vector<std::string> &commands) {
  Network network;
  network.add({"eth2.2", 0, {{0xcb007101, 24}}, {}, true});  // 203.0.113.1
  network.add({"br0", 0, {{0xc0a80101, 24}}, {}, true});     // 192.168.1.1
  Router router(network);
  for (size_t i = 0; i < commands.size(); i++) router.run(commands[i], i);
  return router;
}

void readCommands(benchmark::State &state) {
  const auto commands = gateway(kHosts, state.range(0), 1);
  for (auto _ : state) routerOf(commands);
}

template <Kind kKind, Deciders kDeciders>
void allWays(benchmark::State &state) {
  const Router router = routerOf(gateway(kKind, state.range(0), 1));
  size_t nodes = 0;
  for (auto _ : state) {
    Diagrams diagrams;
    Ways ways(router, diagrams, kLan, kDeciders);
    nodes = diagrams.nodes();
  }
  state.counters["nodes"] = static_cast<double>(nodes);
}

// Which records act, and on which packets.
void everyRecord(benchmark::State &state) {
  const Router router = routerOf(gateway(kHosts, state.range(0), 1));
  for (auto _ : state) {
    Diagrams diagrams;
    Ways ways(router, diagrams, kLan, Deciders::kUntold);
    for (size_t i = 0; i < router.chain(kRecords)->rules.size(); i++) {
      benchmark::DoNotOptimize(ways.actsOn({kRecords, i}));
    }
  }
}

Node dropped(const Router &router, Diagrams &diagrams) {
  return Ways(router, diagrams, kLan, Deciders::kUntold).surely([](const Outcome &outcome) {
    return outcome.verdict == Verdict::kDropped;
  });
}

double secondsOf(const std::function<void()> &work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Each time another router of 200 rules, from its rules to a packet that shows the answer.
template <Kind kKind>
void question(benchmark::State &state) {
  std::vector<double> times;
  unsigned int seed = 0;
  for (auto _ : state) {
    const Router router = routerOf(gateway(kKind, 200, ++seed));
    times.push_back(secondsOf([&] {
      Diagrams diagrams;
      benchmark::DoNotOptimize(diagrams.witness(dropped(router, diagrams)));
    }));
    state.SetIterationTime(times.back());
  }
  std::sort(times.begin(), times.end());
  state.counters["p99_ms"] = 1000 * times[times.size() * 99 / 100];
}

// One record of many is taken away.
void difference(benchmark::State &state) {
  const auto commands = gateway(kHosts, state.range(0), 1);
  const Router router = routerOf(commands);
  unsigned int seed = 0;
  for (auto _ : state) {
    auto fewer = commands;
    fewer.erase(fewer.end() - 1 - std::mt19937(++seed)() % (fewer.size() / 2));
    Diagrams diagrams;
    const Node before = dropped(router, diagrams), after = dropped(routerOf(fewer), diagrams);
    state.SetIterationTime(secondsOf([&] {
      benchmark::DoNotOptimize(diagrams.without(before, after));
      benchmark::DoNotOptimize(diagrams.without(after, before));
    }));
  }
}

// The packets that the records drop.
Node droppedByRecords(const Router &router, Diagrams &diagrams) {
  Chains chains(router, diagrams, Deciders::kUntold);
  return diagrams.where(chains.decide({kRecords, 0, router.chain(kRecords)->rules.size()}),
                        [&](uint32_t number) {
                          const Decision *decision = chains.decision(number);
                          return decision != nullptr && decision->kind == Target::kDrop;
                        });
}

template <Kind kKind>
void intervals(benchmark::State &state) {
  const Router router = routerOf(gateway(kKind, state.range(0), 1));
  for (auto _ : state) {
    Diagrams diagrams;
    benchmark::DoNotOptimize(droppedByRecords(router, diagrams));
  }
}

#ifdef BENCH_BUDDY
// The same set with one variable a bit, in the same order of fields.
class Buddy {
 public:
  Buddy() {
    bdd_init(1 << 20, 1 << 18);
    bdd_gbc_hook(nullptr);
    bdd_setmaxincrease(1 << 22);
    bdd_setvarnum(8 + 32 + 48 + 32 + 16);
  }
  ~Buddy() { bdd_done(); }

  bdd dropped(const Router &router) const {
    const std::vector<Rule> &rules = router.chain(kRecords)->rules;
    return firstOf(rules, 0, rules.size()).first;
  }
  bool contains(const bdd &set, const Packet &packet) const {
    bdd one = bddtrue;
    for (const auto &[field, first] : kFirst) {
      one &= range(field, {packet[field], packet[field]});
    }
    return (set & one) != bddfalse;
  }

 private:
  static constexpr std::pair<FieldId, int> kFirst[] = {
      {kProtocol, 0}, {kSource, 8}, {kSourceMac, 40}, {kDestination, 88}, {kDestinationPort, 120}};

  // What some rules drop, and what they decide about: by halves, as in the room packets.
  std::pair<bdd, bdd> firstOf(const std::vector<Rule> &rules, size_t begin, size_t end) const {
    if (end - begin > 1) {
      const size_t middle = (begin + end) / 2;
      const auto one = firstOf(rules, begin, middle), other = firstOf(rules, middle, end);
      return {one.first | (other.first - one.second), one.second | other.second};
    }
    bdd matched = bddtrue;
    for (const Condition &each : rules[begin].conditions) {
      bdd values = bddfalse;
      for (const Interval &interval : each.values.intervals())
        values |= range(each.field, interval);
      matched &= values;
    }
    return {rules[begin].target.kind == Target::kDrop ? matched : bddfalse, matched};
  }
  static bdd range(FieldId field, Interval values) {
    const int first = std::find_if(std::begin(kFirst), std::end(kFirst), [&](const auto &each) {
                        return each.first == field;
                      })->second;
    bdd above = bddtrue, below = bddtrue;
    for (int bit = 0; largestOf(field) >> bit != 0; bit++) {
      const bdd variable = bdd_ithvar(first + __builtin_popcountll(largestOf(field)) - 1 - bit);
      above = values.first >> bit & 1 ? variable & above : variable | above;
      below = values.last >> bit & 1 ? (!variable) | below : (!variable) & below;
    }
    return above & below;
  }
};

template <Kind kKind>
void buddy(benchmark::State &state) {
  const Router router = routerOf(gateway(kKind, state.range(0), 1));
  {
    Diagrams diagrams;
    const Node set = droppedByRecords(router, diagrams);
    const Buddy library;
    const bdd same = library.dropped(router);
    std::mt19937 numbers(1);
    for (const Rule &rule : router.chain(kRecords)->rules) {
      Packet packet;
      packet[kSource] = 0xc0a80000 + numbers() % 2048;
      for (const Condition &each : rule.conditions) {
        packet[each.field] = each.values.intervals()[0].first;
      }
      if (library.contains(same, packet) != (diagrams.value(set, packet) == 1)) {
        return state.SkipWithError("the two do not agree");
      }
    }
  }
  for (auto _ : state) {
    state.PauseTiming();  // it takes its memory at once
    {
      const Buddy library;
      state.ResumeTiming();
      benchmark::DoNotOptimize(library.dropped(router));
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
}
#endif

#define SIZES Arg(64)->Arg(512)->Arg(2000)->Arg(4096)->Unit(benchmark::kMillisecond)
BENCHMARK(readCommands)->SIZES;
BENCHMARK(allWays<kHosts, Deciders::kUntold>)->SIZES;
BENCHMARK(allWays<kHosts, Deciders::kTold>)->SIZES;
BENCHMARK(allWays<kDevices, Deciders::kUntold>)->Arg(64)->Arg(512)->Unit(benchmark::kMillisecond);
BENCHMARK(allWays<kDevices, Deciders::kTold>)->Arg(64)->Arg(512)->Unit(benchmark::kMillisecond);
BENCHMARK(everyRecord)->SIZES;
BENCHMARK(question<kHosts>)->UseManualTime()->Iterations(500)->Unit(benchmark::kMillisecond);
BENCHMARK(question<kDevices>)->UseManualTime()->Iterations(500)->Unit(benchmark::kMillisecond);
BENCHMARK(difference)->Arg(4813)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(intervals<kHosts>)->SIZES;
BENCHMARK(intervals<kDevices>)->Arg(64)->Arg(512)->Unit(benchmark::kMillisecond);
#ifdef BENCH_BUDDY
BENCHMARK(buddy<kHosts>)->SIZES;
BENCHMARK(buddy<kDevices>)->Arg(64)->Arg(512)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
