#include "packets/router.h"

#include <algorithm>
#include <sstream>

#include "packets/forms.h"
#include "packets/values.h"
#include "sim/line_splitter.h"

namespace packets {

namespace {

// The chains that are always there.
const struct {
  Place::Program program;
  const char *table, *chain;
} kBuiltIn[] = {
    {Place::kEbtables, "broute", "BROUTING"}, {Place::kEbtables, "nat", "PREROUTING"},
    {Place::kEbtables, "nat", "OUTPUT"},      {Place::kEbtables, "nat", "POSTROUTING"},
    {Place::kEbtables, "filter", "INPUT"},    {Place::kEbtables, "filter", "FORWARD"},
    {Place::kEbtables, "filter", "OUTPUT"},   {Place::kIptables, "nat", "PREROUTING"},
    {Place::kIptables, "nat", "OUTPUT"},      {Place::kIptables, "nat", "POSTROUTING"},
    {Place::kIptables, "filter", "INPUT"},    {Place::kIptables, "filter", "FORWARD"},
    {Place::kIptables, "filter", "OUTPUT"},
};

// The programs of the device that change nothing for a packet that is on its way. The helpers
// of telephones (insmod, rmmod) make packets RELATED, which is a state that is asked for.
const char *const kNoPackets[] = {"echo",   "insmod", "rmmod",   "switch", "mkdir",
                                  "iwpriv", "touch",  "rm",      "sys",    "nvram_set",
                                  "arp",    "arping", "killall", "cat",    "ping"};

constexpr char kDmzProgram[] = "/bin/super_dmz";

std::string joined(const std::vector<std::string> &words) {
  std::string text;
  for (size_t i = 0; i < words.size(); i++) {
    text += (i > 0 ? " " : "") + sim::quoted(words[i]);
  }
  return text;
}

bool isNumber(const std::string &word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), ::isdigit);
}

bool startsWith(const std::string &text, const char *start) {
  return text.rfind(start, 0) == 0;
}

}  // namespace

Router::Router(Network network) : network_(std::move(network)) {
  for (const auto &each : kBuiltIn) {
    Chain &chain = chains_[{each.program, each.table, each.chain}];
    chain.built_in = true;
    chain.policy = Target::kAccept;
  }
}

const Chain *Router::chain(const Place &place) const {
  auto found = chains_.find(place);
  return found == chains_.end() ? nullptr : &found->second;
}

Router Router::without(const RuleAt &rule) const {
  Router made = *this;
  std::vector<Rule> &rules = made.chains_.at(rule.place).rules;
  rules.erase(rules.begin() + static_cast<long>(rule.rule));
  return made;
}

void Router::run(const std::string &line, size_t command) {
  for (const sim::ShellCommand &each : sim::splitLine(line)) {
    std::optional<Words> words = sim::wordsOf(each.text);
    if (!words) {
      const bool harmless =
          std::any_of(std::begin(kNoPackets), std::end(kNoPackets),
                      [&](const char *program) { return startsWith(each.text, program); });
      if (!harmless) {
        refusals_.push_back({command, each.text, "only a shell could work this out", true});
      }
    } else if (!words->empty()) {
      runCommand(*words, command);
    }
  }
}

void Router::runCommand(const Words &words, size_t command) {
  const std::string &program = words[0];
  Refused why;
  bool missing = true;
  if (program == "iptables") {
    why = change(Place::kIptables, words, command, missing);
  } else if (program == "ebtables") {
    why = change(Place::kEbtables, words, command, missing);
  } else if (program == "ip" || program == "route" || program == "brctl" || program == "ifconfig") {
    const size_t interfaces = network_.interfaces.size();
    why = network_.run(words, command);
    const std::string action = words.size() > 2 ? words[program == "ip" ? 2 : 1] : "";
    missing = startsWith(action, "add") || action == "replace";
    if (network_.interfaces.size() != interfaces) readAllAgain();
  } else if (program == "nat.sh") {
    runNatScript(command);
  } else if (program == kDmzProgram) {
    runDmzProgram(words, command);
  } else if (std::find(std::begin(kNoPackets), std::end(kNoPackets), program) ==
             std::end(kNoPackets)) {
    why = "what " + program + " does to packets is not known";
  }
  if (why) refusals_.push_back({command, joined(words), *why, missing});
}

Refused Router::read(const Place &place, const Words &words, size_t command, Rule &rule) {
  FormContext context = {network_,
                         [&](const std::string &name) {
                           return chains_.count({place.program, place.table, name}) != 0;
                         },
                         [&](const std::string &text) {
                           auto [found, fresh] = questions_.emplace(std::pair(text, command),
                                                                    kFields + unknowns_.size());
                           if (fresh) unknowns_.push_back(text);
                           return found->second;
                         }};
  Refused why = place.program == Place::kIptables ? readIptablesRule(words, context, rule)
                                                  : readEbtablesRule(words, context, rule);
  // What cannot be known is asked last: only of packets that match all else.
  std::stable_partition(rule.conditions.begin(), rule.conditions.end(),
                        [](const Condition &each) { return each.field < kFields; });
  rule.text = joined(words);
  rule.command = command;
  return why;
}

// Names of interfaces are numbers in the rules: when there is a new one, "br+" is another set.
void Router::readAllAgain() {
  for (auto &[place, chain] : chains_) {
    for (Rule &rule : chain.rules) {
      std::optional<Words> words = sim::wordsOf(rule.text);
      Rule again;
      if (words && !read(place, *words, rule.command, again)) rule = again;
    }
  }
}

// Whether a jump to a chain could come back to `from`.
bool Router::leadsTo(const Place &from, const std::string &chain) const {
  if (chain == from.chain) return true;
  const Chain *found = this->chain({from.program, from.table, chain});
  return found != nullptr &&
         std::any_of(found->rules.begin(), found->rules.end(), [&](const Rule &rule) {
           return rule.target.kind == Target::kJump && leadsTo(from, rule.target.chain);
         });
}

Refused Router::change(Place::Program program, const Words &words, size_t command, bool &missing) {
  Place place = {program, "filter", ""};
  Words rest;
  for (size_t i = 1; i < words.size(); i++) {
    if (words[i] == "-t" && i + 1 < words.size()) {
      place.table = words[++i];
    } else {
      rest.push_back(words[i]);
    }
  }
  if (rest.empty() || rest[0].size() != 2 || rest[0][0] != '-') return "there is no command";
  const char action = rest[0][1];
  missing = action == 'A' || action == 'I' || action == 'N';
  if (std::none_of(chains_.begin(), chains_.end(), [&](const auto &each) {
        return each.first.program == program && each.first.table == place.table;
      })) {
    return "there is no table '" + place.table + "'";
  }
  if (rest.size() < 2) return "the chain is missing";
  place.chain = rest[1];
  auto found = chains_.find(place);
  if (action == 'N') {
    missing = false;  // it is there already
    if (found != chains_.end()) return "the chain is there already";
    // In ebtables what falls off a chain's end is accepted until its policy says otherwise.
    chains_[place].policy = program == Place::kEbtables ? Target::kAccept : Target::kReturn;
    return std::nullopt;
  }
  if (found == chains_.end()) return "there is no chain '" + place.chain + "'";
  Chain &chain = found->second;
  switch (action) {
    case 'F':
      chain.rules.clear();
      return std::nullopt;
    case 'X':
      if (chain.built_in) return "the chain is built in";
      if (!chain.rules.empty()) return "the chain is not empty";
      for (const auto &[other, its] : chains_) {
        if (other.program == program && other.table == place.table &&
            std::any_of(its.rules.begin(), its.rules.end(), [&](const Rule &rule) {
              return rule.target.kind == Target::kJump && rule.target.chain == place.chain;
            })) {
          return "'" + other.chain + "' jumps to the chain";
        }
      }
      chains_.erase(found);
      return std::nullopt;
    case 'P': {
      if (rest.size() != 3) return "the policy is missing";
      if (!chain.built_in && program == Place::kIptables) return "the chain has no policy";
      const std::string &policy = rest[2];
      if (policy == "ACCEPT") {
        chain.policy = Target::kAccept;
      } else if (policy == "DROP") {
        chain.policy = Target::kDrop;
      } else if (policy == "RETURN" && program == Place::kEbtables && !chain.built_in) {
        chain.policy = Target::kReturn;
      } else {
        return "the policy '" + policy + "' is not known";
      }
      chain.policy_command = command;
      return std::nullopt;
    }
    case 'A':
    case 'I':
    case 'D':
      break;
    default:
      return rest[0] + " is not known";
  }

  size_t first = 2, position = chain.rules.size();
  if (action == 'I') {
    position = 0;
    if (rest.size() > 2 && isNumber(rest[2])) {
      uint64_t number;
      if (readNumber(rest[2], chain.rules.size() + 1, number) || number == 0) {
        return rest[2] + " is no place in the chain";
      }
      position = number - 1;
      first = 3;
    }
  }
  Rule rule;
  if (Refused why =
          read(place, {rest.begin() + static_cast<long>(first), rest.end()}, command, rule)) {
    return why;
  }
  if (action == 'D') {
    auto same = std::find_if(chain.rules.begin(), chain.rules.end(), [&](const Rule &each) {
      return each.text == rule.text ||
             (each.conditions == rule.conditions && each.target == rule.target);
    });
    if (same == chain.rules.end()) return "there is no such rule";
    chain.rules.erase(same);
    return std::nullopt;
  }
  if (rule.target.kind == Target::kJump && leadsTo(place, rule.target.chain)) {
    return "a packet would come back to '" + place.chain + "'";
  }
  chain.rules.insert(chain.rules.begin() + static_cast<long>(position), std::move(rule));
  return std::nullopt;
}

void Router::runNatScript(size_t command) {
  const Place place = {Place::kIptables, "nat", "LAN_NAT_CHAIN"};
  auto found = chains_.find(place);
  if (found == chains_.end()) return;
  found->second.rules.clear();
  for (const Interface &each : network_.interfaces) {
    const bool towards_wan =
        startsWith(each.name, "ppp") || startsWith(each.name, "eth2.") || each.name == "apcli0";
    if (!towards_wan || !each.bridge.empty()) continue;
    Rule rule;
    read(place, {"-o", each.name, "-j", "MASQUERADE"}, command, rule);
    found->second.rules.push_back(std::move(rule));
  }
}

// The DMZ program is told which ports it is to leave alone. What it does with the rest stands
// behind the other rules of nat PREROUTING, and whom it sends it to only it knows.
//   /bin/super_dmz -f                        forget
//   /bin/super_dmz [-t PORT[:PORT] | -u PORT[:PORT]]...
void Router::runDmzProgram(const Words &words, size_t command) {
  Chain &chain = chains_[{Place::kIptables, "nat", "PREROUTING"}];
  std::erase_if(chain.rules, [](const Rule &rule) { return rule.target.chain == kDmzProgram; });
  if (words.size() == 2 && words[1] == "-f") return;
  IntervalSet outside = interfacesNamed("br+", network_);
  outside.add({0, 0});  // lo
  const IntervalSet wans = outside.complement(largestOf(kIn));
  auto add = [&](Target::Kind kind, const std::string &text, const Conditions &conditions) {
    Rule rule;
    rule.conditions = conditions;
    rule.target.kind = kind;
    rule.target.chain = words[0];
    rule.text = text;
    rule.command = command;
    chain.rules.push_back(std::move(rule));
  };
  for (size_t i = 1; i + 1 < words.size(); i += 2) {
    IntervalSet ports;
    if (readRange(words[i + 1], 65535, ports)) continue;
    add(Target::kAccept, words[i] + " " + words[i + 1],
        {{kIn, wans},
         {kProtocol, IntervalSet::one(words[i] == "-t" ? kTcp : kUdp)},
         {kDestinationPort, ports}});
  }
  add(Target::kUnknown, joined(words), {{kIn, wans}});
}

}  // namespace packets
