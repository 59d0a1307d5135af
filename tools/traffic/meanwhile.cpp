#include "tools/traffic/meanwhile.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "packets/ways.h"
#include "sim/line_splitter.h"
#include "tools/text/lines.h"
#include "tools/traffic/change.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/question.h"

namespace orba::tool {

namespace {

using namespace packets;
using Node = Diagrams::Node;

// The rules that packets may meet, by the commands that made them.
using Signature = std::vector<size_t>;

Signature signatureOf(const Router &router) {
  Signature signature;
  std::vector<Place> waiting;
  std::set<Place> seen;
  for (const auto &[place, chain] : router.chains()) {
    if (chain.built_in && seen.insert(place).second) waiting.push_back(place);
  }
  while (!waiting.empty()) {
    const Place place = waiting.back();
    waiting.pop_back();
    const Chain *chain = router.chain(place);
    if (chain == nullptr) continue;
    signature.push_back(chain->rules.size());
    signature.push_back(chain->policy);
    for (const Rule &rule : chain->rules) {
      signature.push_back(rule.command);
      const Place to = {place.program, place.table, rule.target.chain};
      if (rule.target.kind == Target::kJump && seen.insert(to).second) waiting.push_back(to);
    }
  }
  for (const auto &[table, routes] : router.network().tables) signature.push_back(routes.size());
  signature.push_back(router.network().interfaces.size());
  return signature;
}

// More states than these are not all looked at.
constexpr size_t kMostStates = 400;

// Whether a command can let nothing through that did not get through before it.
bool onlyShuts(const std::string &text) {
  return text.rfind("iptables", 0) == 0 && text.find(" -A ") != std::string::npos &&
         (text.find(" -j DROP") != std::string::npos ||
          text.find(" -j REJECT") != std::string::npos ||
          text.find(" -j LOG") != std::string::npos);
}

// Packets that one side may send, and which of them get through as time goes by.
class Watch {
 public:
  Watch(SideWays &ways, Sides from, bool neighbours, const Side &side, Node packets)
      : ways_(ways),
        diagrams_(ways.diagrams()),
        from_(std::move(from)),
        neighbours_(neighbours),
        side_(side),
        packets_(packets) {
    if (isWan(side.name) && !neighbours) fixed_[kSourceMac] = ways.ordinaryMac();
    packets_ = diagrams_.with(packets_, fixed_);
  }

  // Those that may get through now.
  Node passing(const Router &router, Node asked) {
    const Ways ways(router, diagrams_, router.network().number(side_.interface), Deciders::kUntold,
                    asked);
    const std::vector<Outcome> &outcomes = ways.outcomes();
    const Node may = diagrams_.where(ways.function(), [&](uint32_t place) {
      if (place >= outcomes.size()) return false;
      const Verdict verdict = outcomes[place].verdict;
      return verdict == Verdict::kForwarded || verdict == Verdict::kDelivered ||
             verdict == Verdict::kUnknown;
    });
    return diagrams_.both(diagrams_.forSomeAnswer(diagrams_.with(may, fixed_)), asked);
  }

  // What gets through before and afterwards is no matter.
  void leaveOut(Node packets) { packets_ = diagrams_.without(packets_, packets); }
  Node packets() const { return packets_; }

  // Behind a command these of them get through.
  void see(size_t command, Node passing) {
    const Node shut = diagrams_.without(passing_, passing);
    for (const auto &[opened, packets] :
         diagrams_.parts(diagrams_.choose(shut, opened_, Diagrams::kNone))) {
      if (opened == 0) continue;
      Node &window = windows_[{opened - 1, command}];
      window = diagrams_.either(window, packets);
    }
    const Node opened = diagrams_.without(passing, passing_);
    opened_ = diagrams_.choose(opened, diagrams_.constant(static_cast<uint32_t>(command) + 1),
                               diagrams_.choose(passing, opened_, Diagrams::kNone));
    passing_ = passing;
  }

  void tell(const Ends &ends, std::vector<Window> &windows);

 private:
  SideWays &ways_;
  Diagrams &diagrams_;
  Sides from_;
  bool neighbours_;
  const Side &side_;
  std::map<FieldId, uint64_t> fixed_;  // what of the packets is no matter
  Node packets_, passing_ = Diagrams::kNone;
  Node opened_ = Diagrams::kNone;  // where they get through, the command that opened it, from 1
  std::map<std::pair<size_t, size_t>, Node> windows_;  // by the commands that open and shut them
};

// One for what reaches the router and one for what goes past it.
void Watch::tell(const Ends &ends, std::vector<Window> &windows) {
  const Node to_router = diagrams_.set({kDestination, ends.router});
  for (bool delivered : {true, false}) {
    Window told;
    told.from = from_;
    told.neighbours = neighbours_;
    told.delivered = delivered;
    Node all = Diagrams::kNone, longest = Diagrams::kNone;
    told.first = SIZE_MAX;
    for (const auto &[commands, packets] : windows_) {
      const Node these =
          delivered ? diagrams_.both(packets, to_router) : diagrams_.without(packets, to_router);
      if (these == Diagrams::kNone) continue;
      all = diagrams_.either(all, these);
      const auto &[opens, shuts] = commands;
      told.first = std::min(told.first, opens);
      told.last = std::max(told.last, shuts);
      if (longest == Diagrams::kNone || shuts - opens > told.shuts - told.opens) {
        longest = these;
        told.opens = opens;
        told.shuts = shuts;
      }
    }
    if (all == Diagrams::kNone) continue;
    told.slices = slicesOf(diagrams_, all, packets_, 1);
    told.around = told.slices[0];
    for (size_t i = 1; i < told.slices.size(); i++) widen(told.around, told.slices[i]);
    told.witness = ways_.witness(side_, longest);
    windows.push_back(std::move(told));
  }
}

}  // namespace

Meanwhile meanwhileOf(const DeskRouter &before, const Recording &rebuild,
                      const Progress &progress) {
  Meanwhile made;
  made.commands = rebuild.commands;
  // Each command of a line by itself: the shell runs them one by one.
  struct Step {
    std::string text;
    size_t command;
  };
  std::vector<Step> steps;
  for (size_t i = 0; i < rebuild.commands.size(); i++) {
    for (const sim::ShellCommand &each : sim::splitLine(rebuild.commands[i])) {
      steps.push_back({each.whole, i});
    }
  }
  // Rules are known by the step that made them, behind those of the router that is there.
  const size_t known = before.commands.size();
  DeskRouter after = {{}, {}, before.sides, before.router};
  std::vector<size_t> changing;
  Signature signature = signatureOf(before.router);
  for (size_t i = 0; i < steps.size(); i++) {
    after.router.run(steps[i].text, known + i);
    Signature now = signatureOf(after.router);
    if (now != signature) changing.push_back(i);
    signature = std::move(now);
  }
  if (changing.size() > kMostStates) {
    // What opens is open until the last of a run of rules that only shut.
    std::vector<size_t> some;
    for (size_t i = 0; i < changing.size(); i++) {
      const bool shuts = onlyShuts(steps[changing[i]].text) && i + 1 < changing.size() &&
                         onlyShuts(steps[changing[i + 1]].text);
      if (!shuts) some.push_back(changing[i]);
    }
    made.all_states = some.size() == changing.size();
    changing = std::move(some);
  }
  made.states = changing.size();

  Diagrams diagrams;
  const Ends ends(before);
  SideWays ways(before, diagrams);
  std::vector<Watch> watches;
  for (const Sides &sides : sidesOf({&before, &after})) {
    const Side &side = *before.side(sides[0]);
    const Node ordinary = ways.ordinary(side);
    for (bool neighbours : {false, true}) {
      Watch watch(ways, sides, neighbours, side,
                  neighbours ? diagrams.without(ways.beginnings(side), ordinary) : ordinary);
      watch.leaveOut(watch.passing(before.router, watch.packets()));
      watch.leaveOut(watch.passing(after.router, watch.packets()));
      if (watch.packets() != Diagrams::kNone) watches.push_back(std::move(watch));
    }
  }
  Router router = before.router;
  size_t next = 0;
  for (size_t i = 0; i < steps.size(); i++) {
    router.run(steps[i].text, known + i);
    if (next == changing.size() || changing[next] != i) continue;
    if (progress) progress(next, changing.size());
    next++;
    for (Watch &watch : watches) {
      watch.see(steps[i].command, watch.passing(router, watch.packets()));
    }
  }
  for (Watch &watch : watches) watch.tell(ends, made.windows);
  std::stable_sort(made.windows.begin(), made.windows.end(),
                   [](const Window &one, const Window &other) {
                     const auto rank = [](const Window &window) {
                       return std::pair(window.neighbours, !isWan(window.from[0]));
                     };
                     return rank(one) < rank(other);
                   });
  return made;
}

namespace {

std::string commandText(const Meanwhile &meanwhile, size_t command) {
  return std::to_string(command + 1) + " " + visible(meanwhile.commands[command]);
}

std::string windowText(const Window &window, const Ends &ends) {
  std::string text;
  for (const Slice &each : window.slices) {
    text += (text.empty() ? "" : "; ") + std::string(each.whole ? "" : "some of ");
    text += protocolsText(each) + othersText(each);
  }
  text += " from " + sidesText(window.from);
  const auto to = window.around.fields.find(kDestination);
  text += " to " + (to == window.around.fields.end() ? "anyone" : endsText(to->second, ends));
  if (window.neighbours) text += ", which only a neighbour on its wire can send";
  return text;
}

}  // namespace

void printMeanwhile(std::ostream &out, const Meanwhile &meanwhile, const DeskRouter &before,
                    bool coloured) {
  if (meanwhile.windows.empty()) {
    out << "nothing gets through meanwhile that does not before or afterwards\n";
    return;
  }
  const Ends ends(before);
  const uint64_t ordinary_mac = macOfNoRule(before.router);
  out << meanwhile.commands.size() << " commands; first packets that get through meanwhile, and "
      << "neither before nor afterwards:\n";
  if (!meanwhile.all_states) {
    out << "(of a run of rules that only shut, the last one is named)\n";
  }
  for (const Window &each : meanwhile.windows) {
    out << (coloured ? "\033[31m" : "") << windowText(each, ends) << (coloured ? "\033[0m" : "")
        << "\n";
    out << "    such as " << sentText(each.witness, ordinary_mac) << ", for "
        << each.shuts - each.opens
        << (each.shuts - each.opens == 1 ? " command:\n" : " commands:\n");
    out << "    opens with " << commandText(meanwhile, each.opens) << "\n";
    out << "    shuts with " << commandText(meanwhile, each.shuts) << "\n";
    if (each.first < each.opens || each.last > each.shuts) {
      out << "    some of them from command " << each.first + 1 << " to " << each.last + 1 << "\n";
    }
  }
}

nlohmann::ordered_json meanwhileAsJson(const Meanwhile &meanwhile, const DeskRouter &before) {
  const Ends ends(before);
  nlohmann::ordered_json json = {{"commands", meanwhile.commands.size()},
                                 {"states", meanwhile.states},
                                 {"all_states", meanwhile.all_states},
                                 {"windows", nlohmann::ordered_json::array()}};
  for (const Window &each : meanwhile.windows) {
    const auto command = [&](size_t number) {
      return nlohmann::ordered_json{{"command", number + 1}, {"text", meanwhile.commands[number]}};
    };
    json["windows"].push_back({{"from", each.from},
                               {"packets", windowText(each, ends)},
                               {"neighbours", each.neighbours},
                               {"witness", packetAsJson(each.witness, before.router.network())},
                               {"opens", command(each.opens)},
                               {"shuts", command(each.shuts)},
                               {"first", each.first + 1},
                               {"last", each.last + 1}});
  }
  return json;
}

}  // namespace orba::tool
