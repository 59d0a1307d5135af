#include "tools/traffic/trace_report.h"

#include <algorithm>
#include <iomanip>
#include <nlohmann/json.hpp>

#include "tools/text/lines.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/verdict.h"

namespace orba::tool {

namespace {

using namespace packets;

const Rule &ruleAt(const RuleAt &at, const DeskRouter &desk) {
  return desk.router.chain(at.place)->rules[at.rule];
}

std::string nameOfInterface(uint64_t number, const DeskRouter &desk) {
  const std::vector<Interface> &interfaces = desk.router.network().interfaces;
  return number < interfaces.size() ? interfaces[number].name : "";
}

const char *policyName(Target::Kind policy) {
  return policy == Target::kDrop ? "DROP" : policy == Target::kAccept ? "ACCEPT" : "RETURN";
}

// What a step has changed of the packet: "now to 192.168.1.10:443", one change a line.
std::vector<std::string> changes(const Packet &before, const Packet &after) {
  std::vector<std::string> lines;
  auto compare = [&](const char *what, Field address, Field port) {
    const std::string now = endText(after, address, port);
    if (now != endText(before, address, port)) lines.push_back(what + now);
  };
  compare("now to ", kDestination, kDestinationPort);
  compare("now from ", kSource, kSourcePort);
  if (after[kMark] != before[kMark]) {
    char mark[32];
    snprintf(mark, sizeof(mark), "now with mark 0x%x", static_cast<unsigned int>(after[kMark]));
    lines.emplace_back(mark);
  }
  return lines;
}

// "10.8.0.0/16 via 192.168.1.253 dev br0 table main", as ip(8) writes it.
std::string routeText(const Route &route) {
  std::string text = route.kind == Route::kLocal       ? "local "
                     : route.kind == Route::kBroadcast ? "broadcast "
                                                       : "";
  const bool host = route.prefix == 32, all = route.prefix == 0;
  text += all ? "default" : addressText(route.destination);
  if (!host && !all) text += "/" + std::to_string(route.prefix);
  if (route.gateway) text += " via " + addressText(*route.gateway);
  return text + " dev " + route.device + " table " + route.table;
}

// What made a command, and which one of which call it is, as `orba plan` numbers them.
std::vector<std::string> madeBy(size_t command, const DeskRouter &desk, Blame &blame) {
  std::vector<std::string> lines;
  if (command >= desk.commands.size()) return lines;
  std::string from, because;
  for (const Origin &origin : blame.originsOf(command)) {
    std::string &list = origin.role == Origin::kBecause ? because : from;
    list += (list.empty() ? "" : "; ") + blame.nameOf(origin, command);
  }
  if (!from.empty()) lines.push_back("from " + from);
  if (!because.empty()) lines.push_back("because of " + because);
  const DeskRouter::Command &at = desk.commands[command];
  std::string made =
      "made by command " + std::to_string(at.at.line + 1) + " of " + desk.runs[at.run].entry;
  if (desk.text(command) == "nat.sh") made += ": nat.sh, as the lab's stand-in for it does";
  lines.push_back(made);
  return lines;
}

// ---- for people ----

// Prints the steps of a way. Lines are held back until one below them is to be shown: a chain in
// which nothing matched is one line.
class Printer {
 public:
  Printer(std::ostream &out, const DeskRouter &desk, Blame &blame, bool why)
      : out_(out), desk_(desk), blame_(blame), why_(why) {}

  // The steps from one on: those before it were shown for another way.
  void print(const FollowedWay &way, size_t first) {
    const std::vector<Step> &steps = way.walk.steps;
    for (size_t i = 0; i < steps.size(); i++) {
      const Packet &before = i > 0 ? steps[i - 1].packet : way.packet;
      shown_ = i >= first;
      step(way, i, before);
    }
    if (chains_.size() > 0) leaveChains(0);
  }

 private:
  // A chain that the packet is in.
  struct Inside {
    Place place;
    std::string line;  // its heading, or the rule that leads to it; empty when it is shown
    size_t looked_at = 0;
    bool matched = false;
  };

  void step(const FollowedWay &way, size_t i, const Packet &before) {
    const std::vector<Step> &steps = way.walk.steps;
    const Step &step = steps[i];
    switch (step.kind) {
      case Step::kEnter: {
        const bool jump = i > 0 && steps[i - 1].kind == Step::kRule && steps[i - 1].matched &&
                          ruleAt(steps[i - 1].at, desk_).target.kind == Target::kJump;
        if (!jump) enterHook(step.at.place);
        break;
      }
      case Step::kRule:
        leaveTo(step.at.place);
        rule(step, before);
        break;
      case Step::kPolicy:
        leaveTo(step.at.place);
        policy(step);
        break;
      case Step::kRoute:
        leaveChains(0);
        if (shown_) routing(step, before, way.walk.verdict);
        break;
      case Step::kBridge:
        leaveChains(0);
        if (shown_) out_ << "bridge\n      " << bridgeText(step) << "\n\n";
        break;
      case Step::kTranslate:
        leaveChains(0);
        if (shown_) translated(before, step.packet);
        break;
    }
  }

  void enterHook(const Place &place) {
    leaveChains(0);
    const Chain &chain = *desk_.router.chain(place);
    chains_.push_back({place, placeText(place) + " (policy " + policyName(chain.policy) + ")"});
  }

  std::string margin() const { return std::string(chains_.size() * 4 - 2, ' '); }

  void rule(const Step &step, const Packet &before) {
    Inside &in = chains_.back();
    const Rule &rule = ruleAt(step.at, desk_);
    in.looked_at++;
    std::ostringstream line;
    line << margin() << std::setw(2) << step.at.rule + 1 << "  " << visible(rule.text);
    if (!step.matched) {
      const bool open = isOpenQuestion(rule, before);
      if (!why_ && !open) return;
      show(line.str());
      detail((open ? "taken not to match: " : "no: ") + whyNot(rule, before, desk_));
      return;
    }
    in.matched = true;
    if (rule.target.kind == Target::kJump) {
      const Place next = {step.at.place.program, step.at.place.table, rule.target.chain};
      const Chain &chain = *desk_.router.chain(next);
      if (next.program == Place::kEbtables) {
        line << "  (policy " << policyName(chain.policy) << ")";
      }
      chains_.push_back({next, line.str()});
      return;
    }
    show(line.str());
    for (const Condition &each : rule.conditions) {
      if (each.field >= kFields)
        detail("taken to match: it depends on " + questionText(each.field, desk_));
    }
    for (const std::string &change : changes(before, step.packet)) detail(change);
    if (!acts(rule) || !shown_) return;
    for (const std::string &made : madeBy(rule.command, desk_, blame_)) detail(made);
  }

  // Whether only what nobody knows kept a rule from matching.
  bool isOpenQuestion(const Rule &rule, const Packet &packet) const {
    return std::all_of(rule.conditions.begin(), rule.conditions.end(), [&](const Condition &each) {
      return each.values.contains(packet[each.field]) ||
             (each.field >= kFields && isOpen(each.field, packet, desk_));
    });
  }

  void policy(const Step &step) {
    const Chain &chain = *desk_.router.chain(step.at.place);
    const bool filters =
        step.at.place.table == "filter" && step.at.place.program == Place::kIptables;
    if (!filters && chain.policy == Target::kAccept) return;
    chains_.back().matched = true;
    show(margin() + "--  policy " + policyName(chain.policy));
    if (!shown_) return;
    for (const std::string &made : madeBy(chain.policy_command, desk_, blame_)) detail(made);
  }

  static std::string bridgeText(const Step &step) {
    if (!step.matched) return "the frame is for another host: it stays on the bridge";
    const bool to_many = (step.packet[kDestinationMac] >> 40 & 1) != 0;
    return to_many ? "the frame is for the router and others" : "the frame is for the router";
  }

  void routing(const Step &step, const Packet &packet, Verdict verdict) {
    out_ << "routing\n";
    if (!step.route) {
      out_ << "      "
           << (verdict == Verdict::kMartian  ? "no packet can come in like this"
               : verdict == Verdict::kNobody ? "the router is not in this group"
                                             : "no route")
           << "\n\n";
      return;
    }
    out_ << "      " << routeText(*step.route) << "\n";
    const RoutingRule *rule = ruleOf(*step.route, packet[kMark], desk_);
    if (rule != nullptr) {
      char mark[64];
      snprintf(mark, sizeof(mark), "by the rule for mark 0x%x/0x%x, priority %u", rule->mark,
               rule->mask, rule->priority);
      detailAt("          ", mark);
      for (const std::string &made : madeBy(rule->command, desk_, blame_))
        detailAt("          ", made);
    }
    if (rule == nullptr || rule->command != step.route->command) {
      for (const std::string &made : madeBy(step.route->command, desk_, blame_)) {
        detailAt("          ", made);
      }
    }
    out_ << "\n";
  }

  void translated(const Packet &before, const Packet &after) {
    const std::vector<std::string> now = changes(before, after);
    if (now.empty()) return;
    out_ << "connection\n";
    for (const std::string &change : now) out_ << "      " << change << "\n";
    out_ << "\n";
  }

  // Shows a line, and those above it that were held back.
  void show(const std::string &line) {
    if (!shown_) return;
    for (Inside &each : chains_) {
      if (!each.line.empty()) out_ << each.line << "\n";
      each.line.clear();
    }
    out_ << line << "\n";
  }

  void detail(const std::string &text) { detailAt(margin() + "      ", text); }
  void detailAt(const std::string &margin, const std::string &text) {
    if (shown_) out_ << margin << visible(text) << "\n";
  }

  void leaveTo(const Place &place) {
    size_t depth = chains_.size();
    while (depth > 0 && chains_[depth - 1].place != place) depth--;
    leaveChains(depth);
  }

  // Chains in which nothing was shown are told with the rule that led there.
  void leaveChains(size_t depth) {
    while (chains_.size() > depth) {
      const Inside in = chains_.back();
      const bool hook = chains_.size() == 1;
      chains_.pop_back();
      if (hook) {
        if (in.line.empty()) out_ << "\n";
        continue;
      }
      if (in.line.empty() || !shown_) continue;
      const std::string rules =
          std::to_string(in.looked_at) + (in.looked_at == 1 ? " rule" : " rules");
      const std::string none = in.looked_at == 0 ? "  (empty)" : "  (no match in " + rules + ")";
      show(in.line + none);
    }
  }

  std::ostream &out_;
  const DeskRouter &desk_;
  Blame &blame_;
  const bool why_;
  bool shown_ = true;
  std::vector<Inside> chains_;  // the built-in chain first
};

std::string headOf(const Packet &packet, const DeskRouter &desk) {
  std::string text = packetText(packet) + ", " + stateName(static_cast<State>(packet[kState])) +
                     ", " + std::to_string(packet[kLength]) + " bytes";
  const std::string in = nameOfInterface(packet[kBridgePort], desk);
  text += in.empty() ? ", from the router itself" : ", in by " + in;
  if (packet[kSourceMac] != 0) text += " from " + macText(packet[kSourceMac]);
  return text;
}

// How many steps two ways have in common.
size_t inCommon(const Walk &one, const Walk &other) {
  size_t i = 0;
  while (i < one.steps.size() && i < other.steps.size() &&
         one.steps[i].kind == other.steps[i].kind && one.steps[i].at == other.steps[i].at &&
         one.steps[i].matched == other.steps[i].matched) {
    i++;
  }
  return i;
}

void printWays(std::ostream &out, const std::vector<FollowedWay> &ways, const char *what,
               const DeskRouter &desk, Blame &blame, bool why) {
  for (const FollowedWay &way : ways) {
    const bool other = &way != &ways[0];
    size_t known = 0;
    for (const FollowedWay *before = &ways[0]; before != &way; before++) {
      known = std::max(known, inCommon(before->walk, way.walk));
    }
    if (other) {
      std::string matching;
      for (FieldId question : way.asked) {
        if (!way.matched(question)) continue;
        matching += (matching.empty() ? "" : " and ") + desk.router.unknowns()[question - kFields];
      }
      out << "Where " << visible(matching) << " matches:\n\n";
    } else {
      out << what << visible(headOf(way.packet, desk)) << "\n\n";
    }
    Printer(out, desk, blame, why).print(way, known);
    auto printMore = [&](const std::vector<FollowedWay> &more, const char *name,
                         const char *subject) {
      if (more.empty()) return;
      printWays(out, more, name, desk, blame, why);
      out << visible(withVerb(verdictSentence(more, desk, blame), subject)) << "\n\n";
    };
    printMore(way.answers, "The answer: ", "the answer");
    if (way.answered_past) {
      out << "The answer goes past the router: " << addressText(way.walk.end[kSource])
          << " is in the network of " << nameOfInterface(way.walk.end[kOut], desk) << "\n\n";
    }
    printMore(way.data, "What it then sends: ", "what it then sends");
  }
}

}  // namespace

void printTrace(std::ostream &out, const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                Blame &blame, bool why) {
  printWays(out, ways, "", desk, blame, why);
  for (const MissingCommand &each : missingFor(ways, desk, blame)) {
    out << "missing: " << visible(each.setting.empty() ? each.refusal.words : each.setting) << ": "
        << visible(each.refusal.why) << "\n";
  }
  out << visible(verdictSentence(ways, desk, blame)) << "\n";
}

// ---- for programs ----

namespace {

using Json = nlohmann::ordered_json;

Json placeAsJson(const RuleAt &at) {
  return {{"program", at.place.program == Place::kIptables ? "iptables" : "ebtables"},
          {"table", at.place.table},
          {"chain", at.place.chain}};
}

// Which command of which call made something, as `orba plan` numbers them.
Json madeByAsJson(size_t command, const DeskRouter &desk) {
  if (command >= desk.commands.size()) return nullptr;
  const DeskRouter::Command &at = desk.commands[command];
  return {{"entry", desk.runs[at.run].entry}, {"number", at.at.line + 1}, {"part", at.at.part}};
}

Json commandAsJson(size_t command, const DeskRouter &desk, Blame &blame) {
  if (command >= desk.commands.size()) return nullptr;
  Json origins = Json::array();
  for (const Origin &origin : blame.originsOf(command)) {
    origins.push_back({{"role", roleName(origin.role)},
                       {"space", origin.space},
                       {"key", origin.key},
                       {"record", origin.record},
                       {"words", blame.nameOf(origin, command)}});
  }
  const DeskRouter::Command &at = desk.commands[command];
  return {{"entry", desk.runs[at.run].entry},
          {"number", at.at.line + 1},
          {"text", desk.text(command)},
          {"origins", origins}};
}

Json routeAsJson(const Step &step, const DeskRouter &desk, Blame &blame) {
  if (!step.route) return nullptr;
  Json route = {{"text", routeText(*step.route)},
                {"device", step.route->device},
                {"table", step.route->table},
                {"command", commandAsJson(step.route->command, desk, blame)}};
  const RoutingRule *rule = ruleOf(*step.route, step.packet[kMark], desk);
  if (rule != nullptr) {
    route["rule"] = {{"mark", rule->mark},
                     {"mask", rule->mask},
                     {"priority", rule->priority},
                     {"command", commandAsJson(rule->command, desk, blame)}};
  }
  return route;
}

Json stepAsJson(const Step &step, const Packet &before, const DeskRouter &desk, Blame &blame) {
  static const char *const kKinds[] = {"enter", "rule", "policy", "route", "bridge", "connection"};
  Json made = {{"step", kKinds[step.kind]}};
  switch (step.kind) {
    case Step::kEnter:
      made.update(placeAsJson(step.at));
      break;
    case Step::kRule: {
      const Rule &rule = ruleAt(step.at, desk);
      made.update(placeAsJson(step.at));
      made["rule"] = step.at.rule + 1;
      made["text"] = rule.text;
      made["matched"] = step.matched;
      made["made_by"] = madeByAsJson(rule.command, desk);
      if (!step.matched) made["why_not"] = whyNot(rule, before, desk);
      if (step.matched && acts(rule)) made["command"] = commandAsJson(rule.command, desk, blame);
      break;
    }
    case Step::kPolicy: {
      const Chain &chain = *desk.router.chain(step.at.place);
      made.update(placeAsJson(step.at));
      made["policy"] = policyName(chain.policy);
      made["command"] = commandAsJson(chain.policy_command, desk, blame);
      break;
    }
    case Step::kRoute:
      made["route"] = routeAsJson(step, desk, blame);
      break;
    case Step::kBridge:
      made["for_router"] = step.matched;
      break;
    case Step::kTranslate:
      break;
  }
  const std::vector<std::string> now = changes(before, step.packet);
  if (!now.empty()) made["packet"] = packetAsJson(step.packet, desk.router.network());
  return made;
}

Json waysAsJson(const std::vector<FollowedWay> &ways, const DeskRouter &desk, Blame &blame) {
  const Network &network = desk.router.network();
  Json all = Json::array();
  for (const FollowedWay &way : ways) {
    Json asked = Json::array(), steps = Json::array();
    for (FieldId question : way.asked) {
      asked.push_back({{"question", desk.router.unknowns()[question - kFields]},
                       {"about", questionText(question, desk)},
                       {"matches", way.matched(question)}});
    }
    const Packet *before = &way.packet;
    for (const Step &step : way.walk.steps) {
      steps.push_back(stepAsJson(step, *before, desk, blame));
      before = &step.packet;
    }
    all.push_back({{"if", asked},
                   {"packet", packetAsJson(way.packet, network)},
                   {"steps", steps},
                   {"verdict", verdictName(way.walk.verdict)},
                   {"sentence", verdictSentence(way, desk, blame)},
                   {"end", packetAsJson(way.walk.end, network)},
                   {"answer", waysAsJson(way.answers, desk, blame)},
                   {"answered_past", way.answered_past},
                   {"data", waysAsJson(way.data, desk, blame)}});
  }
  return all;
}

}  // namespace

Json traceAsJson(const std::vector<FollowedWay> &ways, const DeskRouter &desk, Blame &blame) {
  Json missing = Json::array();
  for (const MissingCommand &each : missingFor(ways, desk, blame)) {
    missing.push_back({{"command", commandAsJson(each.refusal.command, desk, blame)},
                       {"words", each.refusal.words},
                       {"why", each.refusal.why},
                       {"setting", each.setting}});
  }
  const bool one = std::all_of(ways.begin(), ways.end(), [&](const FollowedWay &way) {
    return way.walk.verdict == ways[0].walk.verdict;
  });
  return {{"verdict", one ? verdictName(ways[0].walk.verdict) : "depends"},
          {"sentence", verdictSentence(ways, desk, blame)},
          {"ways", waysAsJson(ways, desk, blame)},
          {"missing", missing}};
}

}  // namespace orba::tool
