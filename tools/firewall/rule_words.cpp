#include "tools/firewall/rule_words.h"

#include <map>
#include <vector>

namespace orba::tool {

namespace {

// The words between blanks, but for those inside quotes.
std::vector<std::string> wordsIn(const std::string &rule) {
  std::vector<std::string> words;
  bool quoted = false, inside = false;
  for (char c : rule) {
    if (c == '\'') quoted = !quoted;
    bool blank = c == ' ' && !quoted;
    if (!blank && !inside) words.emplace_back();
    if (!blank) words.back() += c;
    inside = !blank;
  }
  return words;
}

struct Option {
  int words = 1;                 // behind it
  bool of_target = false;        // tells the target something, and matches nothing
  const char *phrase = nullptr;  // '%' stands for its word; null for what says nothing
};

const std::map<std::string, Option> kOptions = {
    {"-i", {1, false, "in by %"}},
    {"-o", {1, false, "out by %"}},
    {"-s", {1, false, "from %"}},
    {"--src", {1, false, "from %"}},
    {"--ip-src", {1, false, "from %"}},
    {"-d", {1, false, "to %"}},
    {"--dst", {1, false, "to %"}},
    {"--ip-dst", {1, false, "to %"}},
    {"--sport", {1, false, "from port %"}},
    {"--ip-sport", {1, false, "from port %"}},
    {"--dport", {1, false, "to port %"}},
    {"--ip-dport", {1, false, "to port %"}},
    {"--ip-proto", {1, false, "of IP protocol %"}},
    {"--syn", {0, false, "that opens a connection"}},
    {"--tcp-flags", {2, false, "with, of the flags %, only % set"}},
    {"--icmp-type", {1, false, "of type %"}},
    {"--state", {1, false, "of a connection in state %"}},
    {"--length", {1, false, "of % bytes"}},
    {"--limit", {1, false, "(at most %)"}},
    {"--mac-source", {1, false, "from the network card %"}},
    {"--src-macrange", {1, false, "from the network cards %"}},
    {"--dst-macrange", {1, false, "to the network cards %"}},
    {"--src-range", {1, false, "from %"}},
    {"--dst-range", {1, false, "to %"}},
    {"--mss", {1, false, "with a segment size of %"}},
    {"--content",
     {1, false, "with web content of the classes % (1 Java, 2 ActiveX, 4 cookies, 8 proxy)"}},
    {"--url", {1, false, "for a URL with %"}},
    {"--host", {1, false, "for a host with %"}},
    {"-m", {1, false, nullptr}},
    {"--to", {1, true, nullptr}},
    {"--to-destination", {1, true, nullptr}},
    {"--to-source", {1, true, nullptr}},
    {"--reject-with", {1, true, nullptr}},
    {"--set-mss", {1, true, nullptr}},
    {"--clamp-mss-to-pmtu", {0, true, nullptr}},
    {"--log-level", {1, true, nullptr}},
    {"--log-prefix", {1, true, nullptr}},
    {"--mark-or", {1, true, nullptr}},
    {"--mark-set", {1, true, nullptr}},
    {"--set-mark", {1, true, nullptr}},
    {"--mark-target", {1, true, nullptr}},
};

const std::map<std::string, const char *> kProtocols = {
    {"tcp", "TCP"}, {"udp", "UDP"}, {"icmp", "ICMP"}, {"2", "IGMP"}, {"ipv4", "IPv4"},
};

// What happens to a packet; '%' stands for what the target is told.
const std::map<std::string, const char *> kTargets = {
    {"ACCEPT", "is accepted"},
    {"DROP", "is dropped"},
    {"REJECT", "is refused with %"},
    {"RETURN", "goes back to the chain before"},
    {"LOG", "is noted in the log and goes on"},
    {"DNAT", "goes to % instead"},
    {"TCPMSS", "gets a segment size that fits the link (%), and goes on"},
    {"mark", "is marked with %"},
};

std::string filled(const char *phrase, const std::vector<std::string> &values) {
  std::string text;
  size_t next = 0;
  for (const char *c = phrase; *c != '\0'; c++) {
    if (*c == '%' && next < values.size()) {
      text += values[next++];
    } else {
      text += *c;
    }
  }
  return text;
}

// One option of a rule with what stands behind it.
struct Given {
  std::string name;
  std::vector<std::string> values;
  bool negated = false;
  const Option *known = nullptr;
};

// The '!' stands in front of the option or of its value.
std::vector<Given> optionsOf(const std::string &rule) {
  std::vector<std::string> words = wordsIn(rule);
  std::vector<Given> options;
  bool negated = false;
  for (size_t i = 0; i < words.size(); i++) {
    if (words[i] == "!") {
      negated = true;
      continue;
    }
    Given option = {words[i], {}, negated, nullptr};
    negated = false;
    auto known = kOptions.find(words[i]);
    if (known != kOptions.end()) option.known = &known->second;
    int wanted = option.known != nullptr ? option.known->words : words[i][0] == '-' ? 1 : 0;
    while (wanted > 0 && i + 1 < words.size()) {
      if (words[++i] == "!" && !option.negated) {
        option.negated = true;
      } else {
        option.values.push_back(words[i]);
        wanted--;
      }
    }
    options.push_back(option);
  }
  return options;
}

std::string inTheRulesWords(const Given &option) {
  std::string text = option.negated ? "! " + option.name : option.name;
  for (const std::string &value : option.values) text += " " + value;
  return text;
}

bool saysNothing(const Given &option) {
  bool anywhere = option.name == "-s" || option.name == "-d";
  return anywhere && !option.values.empty() &&
         (option.values[0] == "any/0" || option.values[0] == "any");
}

}  // namespace

RuleParts partsOf(const std::string &rule) {
  RuleParts parts;
  for (const Given &option : optionsOf(rule)) {
    if (option.name == "-j") {
      if (!option.values.empty()) parts.target = option.values[0];
    } else if (option.known != nullptr && option.known->of_target) {
      bool telling = option.name.rfind("--log", 0) != 0 && option.name != "--mark-target";
      if (!telling || !parts.detail.empty()) continue;
      parts.detail = option.values.empty() ? "to path MTU" : option.values[0];
    } else {
      parts.match += (parts.match.empty() ? "" : " ") + inTheRulesWords(option);
    }
  }
  return parts;
}

std::string ruleInWords(const std::string &rule) {
  std::string subject = "Everything", conditions;
  for (const Given &option : optionsOf(rule)) {
    const std::string value = option.values.empty() ? "" : option.values[0];
    bool target = option.name == "-j" || (option.known != nullptr && option.known->of_target);
    if (target || option.name == "-m" || saysNothing(option)) continue;
    if (option.name == "-p" && !option.negated) {
      auto name = kProtocols.find(value);
      subject = name != kProtocols.end() ? name->second : "Protocol " + value;
      continue;
    }
    conditions += option.negated ? ", not " : " ";
    bool known = option.known != nullptr && option.known->phrase != nullptr;
    Given plain = {option.name, option.values};
    conditions += known ? filled(option.known->phrase, option.values) : inTheRulesWords(plain);
    if (option.negated) conditions += ",";
  }
  RuleParts parts = partsOf(rule);
  auto target = kTargets.find(parts.target);
  std::string what = "is counted";
  if (target != kTargets.end()) {
    what = filled(target->second, {parts.detail});
  } else if (!parts.target.empty()) {
    what = "goes through " + parts.target;
  }
  return subject + conditions + " " + what + ".";
}

}  // namespace orba::tool
