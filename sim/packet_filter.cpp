#include "sim/packet_filter.h"

#include <algorithm>
#include <iomanip>

#include "sim/line_splitter.h"

namespace sim {

namespace {

// The built-in chains, in the order in which a packet meets them.
struct Hook {
  const char *program;
  const char *table;
  const char *chain;
};

constexpr Hook kHooks[] = {
    {"ebtables", "broute", "BROUTING"}, {"ebtables", "nat", "PREROUTING"},
    {"ebtables", "filter", "INPUT"},    {"ebtables", "filter", "FORWARD"},
    {"ebtables", "filter", "OUTPUT"},   {"ebtables", "nat", "OUTPUT"},
    {"ebtables", "nat", "POSTROUTING"}, {"iptables", "nat", "PREROUTING"},
    {"iptables", "filter", "INPUT"},    {"iptables", "filter", "FORWARD"},
    {"iptables", "filter", "OUTPUT"},   {"iptables", "nat", "OUTPUT"},
    {"iptables", "nat", "POSTROUTING"},
};

bool isNumber(const std::string &word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), ::isdigit);
}

PacketFilter::Rule ruleFrom(const std::vector<std::string> &words, size_t first) {
  PacketFilter::Rule rule;
  for (size_t i = first; i < words.size(); i++) {
    rule.text += (i > first ? " " : "") + quoted(words[i]);
    if (words[i] == "-j" && i + 1 < words.size()) rule.target = words[i + 1];
  }
  return rule;
}

}  // namespace

PacketFilter::PacketFilter() {
  for (const Hook &hook : kHooks) {
    Chain &chain = programs_[hook.program][hook.table][hook.chain];
    chain.built_in = true;
    chain.policy = "ACCEPT";
  }
}

void PacketFilter::run(const std::vector<std::string> &lines) {
  for (const std::string &line : lines) run(line);
}

void PacketFilter::run(const std::string &line) {
  part_ = 0;
  for (const ShellCommand &command : splitLine(line)) {
    std::optional<std::vector<std::string>> words = wordsOf(command.text);
    if (words && !words->empty()) runCommand(*words);
    part_++;
  }
  lines_run_++;
}

void PacketFilter::runCommand(const std::vector<std::string> &words) {
  auto program = programs_.find(words[0]);
  if (program == programs_.end()) return;
  std::string table = "filter";
  std::vector<std::string> rest;
  for (size_t i = 1; i < words.size(); i++) {
    if (words[i] == "-t" && i + 1 < words.size()) {
      table = words[++i];
    } else {
      rest.push_back(words[i]);
    }
  }
  auto found = program->second.find(table);
  if (found != program->second.end()) change(found->second, rest);
}

// Carries out one command, unless the kernel would not: no such chain, target, position or
// rule, or a chain that is there already, is in use or not empty.
void PacketFilter::change(Table &table, const std::vector<std::string> &words) {
  if (words.empty() || words[0].size() != 2 || words[0][0] != '-') return;
  char action = words[0][1];
  if (action == 'F' && words.size() == 1) {
    for (auto &[name, chain] : table) chain.rules.clear();
    return;
  }
  if (words.size() < 2) return;
  const std::string &name = words[1];
  auto found = table.find(name);
  if (action == 'N') {
    if (found != table.end()) return;
    table[name] = {};
    return;
  }
  if (found == table.end()) return;
  Chain &chain = found->second;

  if (action == 'F') {
    chain.rules.clear();
  } else if (action == 'P') {
    if (words.size() < 3) return;
    chain.policy = words[2];
  } else if (action == 'X') {
    if (chain.built_in) return;
    if (!chain.rules.empty()) return;
    for (const auto &[other_name, other] : table) {
      for (const Rule &rule : other.rules) {
        if (rule.target == name) return;
      }
    }
    table.erase(found);
  } else if (action == 'A' || action == 'I') {
    size_t first = 2, position = chain.rules.size();
    if (action == 'I') {
      position = 0;
      if (words.size() > 2 && isNumber(words[2])) {
        position = std::stoul(words[2]) - 1;
        first = 3;
      }
      if (position > chain.rules.size()) return;
    }
    Rule rule = ruleFrom(words, first);
    rule.line = lines_run_;
    rule.part = part_;
    bool user_chain = !rule.target.empty() && table.count(rule.target) != 0;
    bool built_in_target = !rule.target.empty() && isupper(rule.target[0]) && !user_chain;
    if (!rule.target.empty() && !user_chain && !built_in_target) return;
    chain.rules.insert(chain.rules.begin() + static_cast<long>(position), rule);
  } else if (action == 'D') {
    std::string text = ruleFrom(words, 2).text;
    auto rule = std::find_if(chain.rules.begin(), chain.rules.end(),
                             [&](const Rule &candidate) { return candidate.text == text; });
    if (rule != chain.rules.end()) chain.rules.erase(rule);
  }
}

bool PacketFilter::has(const std::string &program, const std::string &table,
                       const std::string &chain) const {
  return programs_.at(program).at(table).count(chain) != 0;
}

std::vector<std::string> PacketFilter::rules(const std::string &program, const std::string &table,
                                             const std::string &chain) const {
  std::vector<std::string> texts;
  if (!has(program, table, chain)) return texts;
  for (const Rule &rule : programs_.at(program).at(table).at(chain).rules) {
    texts.push_back(rule.text);
  }
  return texts;
}

void PacketFilter::print(std::ostream &out, Words words) const {
  std::string headed;
  std::vector<std::string> printed;
  for (const Hook &hook : kHooks) {
    const Table &table = programs_.at(hook.program).at(hook.table);
    const Chain &chain = table.at(hook.chain);
    if (chain.rules.empty() && chain.policy == "ACCEPT") continue;
    std::string heading = std::string(hook.program) + " " + hook.table;
    if (heading != headed) printed.clear();
    headed = heading;
    out << heading << " " << hook.chain << " (policy " << chain.policy << ")\n";
    printChain(out, table, hook.chain, words, 1, printed);
    out << "\n";
  }
}

void PacketFilter::printChain(std::ostream &out, const Table &table, const std::string &name,
                              Words words, int depth, std::vector<std::string> &printed) const {
  printed.push_back(name);
  const Chain &chain = table.at(name);
  const std::string indent(static_cast<size_t>(depth) * 4 - 2, ' ');
  int number = 0;
  for (const Rule &rule : chain.rules) {
    auto target = table.find(rule.target);
    const bool leads = target != table.end();
    const bool above =
        leads && std::find(printed.begin(), printed.end(), rule.target) != printed.end();
    out << indent << std::right << std::setw(2) << ++number << "  " << rule.text;
    if (above) {
      out << "  (as above)";
    } else if (leads) {
      const Chain &next = target->second;
      out << (next.policy.empty() ? "" : "  (policy " + next.policy + ")")
          << (next.rules.empty() ? "  (empty)" : "");
    }
    out << "\n";
    if (words != nullptr) out << indent << "      " << words(rule.text) << "\n";
    if (leads && !above) printChain(out, table, rule.target, words, depth + 1, printed);
  }
}

}  // namespace sim
