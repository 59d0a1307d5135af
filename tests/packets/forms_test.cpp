// The forms of commands: every one that the library gives to the tools is known, and what a
// tool makes of a value the model makes of it too.
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "packets/router.h"
#include "sim/line_splitter.h"

using namespace packets;
using testing::Contains;
using testing::IsEmpty;

namespace {

using Words = std::vector<std::string>;

Network network() {
  Network made;
  made.bridges = {"br0"};
  made.add({.name = "br0", .mac = 0x020000000001, .addresses = {{0xc0a80101, 24}}});
  made.add({.name = "eth2.1", .bridge = "br0"});
  made.add({.name = "eth2.2", .addresses = {{0xcb007102, 24}}});
  for (const char *other : {"ppp0", "ra0", "ra1", "ra2", "ra3", "apcli0"})
    made.add({.name = other});
  return made;
}

// ---- every form that is listed ----

// A listed line with one choice made of all [[a||b]]; what is repeated stands there twice at most.
void expand(const std::string &line, std::vector<std::string> &all) {
  const size_t open = line.find("[[");
  if (open == std::string::npos) {
    all.push_back(line);
    return;
  }
  std::vector<std::string> choices(1);
  int depth = 1;
  size_t at = open + 2;
  for (; depth > 0; at += 2) {
    const std::string mark = line.substr(at, 2);
    depth += mark == "[[" ? 1 : mark == "]]" ? -1 : 0;
    if (depth == 1 && mark == "||") {
      choices.emplace_back();
    } else if (mark == "[[" || mark == "]]" || mark == "||") {
      if (depth > 0) choices.back() += mark;
    } else {
      choices.back() += line[at--];
    }
  }
  const bool repeated = line[at] == '*';
  const std::string front = line.substr(0, open), rest = line.substr(repeated ? at + 1 : at);
  if (repeated) choices = {"", choices[0], choices[0] + choices.back()};
  for (const std::string &choice : choices) expand(front + choice + rest, all);
}

// What stands in front of a value says of what kind it is; the first that fits.
const std::pair<const char *, const char *> kValues[] = {
    {"--host ", "example.com"},
    {"ip route ", "add"},
    {"ip rule ", "add"},
    {"route ", "add"},
    {"via ", "192.168.1.254"},
    {"gw ", "192.168.1.254"},
    {"netmask ", "255.255.0.0"},
    {"-net ", "10.8.0.0"},
    {"-host ", "10.8.0.9"},
    {"pf_", "WAN2"},
    {"dev ", "br0"},
    {"brctl addif br0 ", "ra0"},
    {"brctl delif br0 ", "ra0"},
    {"-i ", "eth2.2"},
    {"-o ", "eth2.2"},
    {"macrange ", "00:0C:43:30:00:00"},
    {"-00:0C:43:30:00:00-", "00:0C:43:30:00:FF"},
    {"00:0C:43:30:00:00-", "00:0C:43:30:00:FF"},
    {"--src ", "00:0C:43:28:60:2A"},
    {"--mac-source ", "00:0C:43:28:60:2A"},
    {"--mac-destination ", "00:0C:43:28:60:2A"},
    {"MAC_Filter -s ", "00:0C:43:28:60:2A"},
    {"-range ", "192.168.1.32-192.168.1.63"},
    {"0/", "255.255.255.0"},
    {"-s ! ", "192.168.1.2"},
    {"-s ", "192.168.1.0"},
    {"-src ", "192.168.1.0"},
    {"-d ", "192.168.1.0"},
    {"--to ", "192.168.1.50"},
    {"--dport ! ", "8080"},
    {"-p ", "udp"},
    {"--ip-proto ", "17"},
    {"port ", "1000"},
    {"port 1000:", "2000"},
    {"--mss ", "1400"},
    {"--set-mss ", "1400"},
    {"--content ", "7"},
    {"--url ", "ads.example.com/banner"},
    {"0x", "20000000"},
    {"fwmark ", "0x20000000"},
    {"prio ", "100"},
    {"-t ", "80"},
    {"-u ", "53"},
};

std::string filled(std::string line) {
  for (size_t at; (at = line.find('%')) != std::string::npos;) {
    std::string front = line.substr(0, at);
    if (front.ends_with("  ")) front.pop_back();
    auto value = std::find_if(std::begin(kValues), std::end(kValues),
                              [&](const auto &each) { return front.ends_with(each.first); });
    if (value == std::end(kValues)) {
      ADD_FAILURE() << "no value for: " << line;
      return line;
    }
    line.replace(at, 2, value->second);
  }
  const size_t blank = line.find("\\x20");
  return blank != std::string::npos ? line.substr(0, blank) : line;
}

// What must be there for a command not to be refused: the chains, the rule or route that it
// takes away.
void prepare(Router &router, const std::string &command) {
  auto run = [&](const std::string &other) { router.run(other, 0); };
  auto with = [&](const std::string &one, const std::string &other) {
    std::string text = command;
    return text.replace(text.find(one), one.size(), other);
  };
  Words words = *sim::wordsOf(command);
  if (words[0] == "iptables" || words[0] == "ebtables") {
    std::string table = "filter", action, chain, target;
    for (size_t i = 1; i + 1 < words.size(); i++) {
      if (words[i] == "-t") table = words[i + 1];
      if (words[i] == "-j") target = words[i + 1];
      if (words[i].size() == 2 && words[i] != "-t" && isupper(words[i][1])) {
        action = words[i];
        chain = words[i + 1];
      }
    }
    const std::string tool = words[0] + " -t " + table;
    if (action != "-N") run(tool + " -N " + chain);
    const bool a_chain = !target.empty() && std::any_of(target.begin(), target.end(), ::islower);
    if (a_chain || target == "DMZ" || target == "PING_DEATH" ||
        target.find('_') != std::string::npos)
      run(tool + " -N " + target);
    if (action == "-I") run(tool + " -A " + chain + " -j ACCEPT");
    if (action == "-D") run(with(" -D ", " -A "));
    return;
  }
  if (words[0] == "brctl" && words[1] != "addbr" && words[2] == "br1") run("brctl addbr br1");
  if (command == "route delete 239.255.255.250") run("route add -host 239.255.255.250 dev br0");
  for (const char *taking : {" del ", " delif "}) {
    if (command.find(taking) == std::string::npos) continue;
    run(with(taking, taking == std::string(" del ") ? " add " : " addif "));
  }
}

// Options that say what is done, or how, and not to what.
const Words kOfTargets = {"-j",          "-m",           "--to",      "--reject-with",
                          "--log-level", "--log-prefix", "--set-mss", "--clamp-mss-to-pmtu",
                          "--mark-or",   "--mark-target"};

// How many things a rule asks for.
size_t asked(const Words &words) {
  const size_t chain =
      2 + static_cast<size_t>(std::find_if(words.begin(), words.end(),
                                           [](auto &w) { return w == "-A" || w == "-I"; }) -
                              words.begin());
  return static_cast<size_t>(std::count_if(
      words.begin() + static_cast<long>(chain), words.end(), [](const std::string &word) {
        return word[0] == '-' &&
               std::find(kOfTargets.begin(), kOfTargets.end(), word) == kOfTargets.end();
      }));
}

// What no model can answer.
const Words kBounded = {"--limit 1/s", "--content 7", "--url ads.example.com/banner",
                        "--host example.com"};

void expectKnown(const std::string &line) {
  for (const sim::ShellCommand &each : sim::splitLine(line)) {
    SCOPED_TRACE(each.text);
    Router router(network());
    prepare(router, each.text);
    const size_t refused = router.refusals().size();
    router.run(each.text, 7);
    // The list has each option by itself; ebtables wants the protocol before those of IP.
    const bool complete = each.text.find(" --ip-") == std::string::npos ||
                          each.text.find(" -p ipv4 ") != std::string::npos;
    for (size_t i = refused; i < router.refusals().size() && complete; i++) {
      ADD_FAILURE() << router.refusals()[i].why;
    }
    for (const std::string &question : router.unknowns()) EXPECT_THAT(kBounded, Contains(question));
    for (const auto &[place, chain] : router.chains()) {
      for (const Rule &rule : chain.rules) {
        if (rule.command != 7 || place.chain == "LAN_NAT_CHAIN") continue;
        const bool dmz_program = each.text.rfind("/bin/", 0) == 0;
        EXPECT_TRUE(dmz_program || rule.target.kind != Target::kUnknown);
        if (!dmz_program) {
          EXPECT_EQ(rule.conditions.size(), asked(*sim::wordsOf(each.text)));
        }
      }
    }
  }
}

}  // namespace

TEST(Forms, OfEveryListedCommandAreKnown) {
  std::ifstream list(ORBA_COMMANDS);
  std::vector<std::string> lines;
  for (std::string line; std::getline(list, line);) {
    if (line[0] == '\t') {
      lines.back() += line.substr(1);
    } else {
      lines.push_back(line);
    }
  }
  size_t known = 0;
  for (const std::string &line : lines) {
    std::istringstream words(line);
    std::string program;
    words >> program;
    static const Words kPrograms = {"iptables", "ebtables",      "ip", "route", "brctl",
                                    "nat.sh",   "/bin/super_dmz"};
    if (std::find(kPrograms.begin(), kPrograms.end(), program) == kPrograms.end()) continue;
    std::vector<std::string> forms;
    expand(line, forms);
    // Of the many that choices make of one line every seventh has each of them with many others.
    const size_t step = forms.size() > 1000 ? 7 : 1;
    for (size_t i = 0; i < forms.size(); i += step, known++) expectKnown(filled(forms[i]));
    if (HasFailure()) return;
  }
  EXPECT_GT(known, 1000u);
}

// ---- what the tools make of values ----

namespace {

// What holds for every packet is no condition.
Conditions withoutAll(Conditions conditions) {
  std::erase_if(conditions, [](const Condition &each) {
    return each.values == IntervalSet::range(0, largestOf(each.field));
  });
  return conditions;
}

std::optional<Rule> readBy(Place::Program program, const std::string &rule) {
  Router router(network());
  router.run((program == Place::kIptables ? "iptables -A INPUT " : "ebtables -A INPUT ") + rule, 0);
  const std::vector<Rule> &rules = router.chain({program, "filter", "INPUT"})->rules;
  return rules.empty() ? std::nullopt : std::optional(rules[0]);
}

// A rule as it is given, and as the real tool (1.8.9) lists what it made of it; null where it
// refused.
struct Reading {
  const char *given, *listed;
};

template <size_t N>
void expectReadings(Place::Program program, const Reading (&readings)[N]) {
  for (const Reading &each : readings) {
    SCOPED_TRACE(each.given);
    const bool has_target = std::string(each.given).find("-j ") != std::string::npos;
    const std::string target = has_target ? "" : " -j DROP";
    const std::optional<Rule> given = readBy(program, each.given + target);
    EXPECT_EQ(given.has_value(), each.listed != nullptr);
    if (!given || each.listed == nullptr) continue;
    const std::optional<Rule> listed = readBy(program, each.listed + target);
    ASSERT_TRUE(listed) << each.listed;
    EXPECT_EQ(withoutAll(given->conditions), withoutAll(listed->conditions)) << each.listed;
    EXPECT_EQ(given->target, listed->target) << each.listed;
  }
}

}  // namespace

TEST(Forms, AreReadAsTheToolsReadThem) {
  static const Reading kRules[] = {
      {"-s 10.1", "-s 10.1.0.0/32"},
      {"-s 010.0.0.1", "-s 8.0.0.1/32"},
      {"-s 0x0a000001", "-s 10.0.0.1/32"},
      {"-s 167772161", "-s 10.0.0.1/32"},
      {"-s 1.2.3.4/255.0.255.0", "-s 1.0.3.0/255.0.255.0"},
      {"-s a/24/24", nullptr},
      {"-s 1.2.3.4/24/24", nullptr},
      {"-s any", nullptr},
      {"-s any/0", ""},
      {"-s 1.2.3.4/", nullptr},
      {"-s ''", nullptr},
      {"-s 1.2.3.4/0", ""},
      {"-s 1.2.3.4/33", nullptr},
      {"-s 1.2.3.4/032", "-s 1.2.3.0/26"},
      {"-s 1.2.3.4/255", nullptr},
      {"-s 1.2.3.", nullptr},
      {"-s 1.2.3.4.", nullptr},
      {"-s 1.2.3.256", nullptr},
      {"-s 1.2.3.4,1.2.3.5", "-m iprange --src-range 1.2.3.4-1.2.3.5"},
      {"-s 1.2.3.4,", nullptr},
      {"! -s 1.2.3.4,1.2.3.5", nullptr},
      {"-s ' 1.2.3.4'", "-s 1.2.3.4/32"},
      {"-s 0", "-s 0.0.0.0/32"},
      {"-s 1.2.3.4/255.255.255.255/", nullptr},
      {"-p tcp --dport 22:21", nullptr},
      {"-p tcp --dport :", "-p tcp -m tcp"},
      {"-p tcp --dport 22:", "-p tcp -m tcp --dport 22:65535"},
      {"-p tcp --dport 65536", nullptr},
      {"-p tcp --dport 0x16", "-p tcp -m tcp --dport 22"},
      {"-p tcp --dport ''", nullptr},
      {"-p tcp --dport ' 22'", "-p tcp -m tcp --dport 22"},
      {"-p tcp --dport -1", nullptr},
      {"-p tcp --dport 22:21:20", nullptr},
      {"-p foo", nullptr},
      {"-p TCP --dport 22", "-p tcp -m tcp --dport 22"},
      {"-p 6 --dport 22", "-p tcp -m tcp --dport 22"},
      {"-p 0", ""},
      {"-p ALL", ""},
      {"-p 256", nullptr},
      {"-p ''", nullptr},
      {"-p 0x6 --dport 22", "-p tcp -m tcp --dport 22"},
      {"-p ' 6'", "-p tcp"},
      {"! -p 0", nullptr},
      {"-p tcp -p udp", nullptr},
      {"-p tcp --dport 1 --dport 2", nullptr},
      {"-p icmp --dport 22", nullptr},
      {"-i ''", nullptr},
      {"-i +", ""},
      {"-i sixteencharacter", nullptr},
      {"-i eth0 -i eth1", nullptr},
      {"-p icmp --icmp-type echo-request", "-p icmp -m icmp --icmp-type 8"},
      {"-m mac --mac-source 1:2:3:4:5:6", "-m mac --mac-source 01:02:03:04:05:06"},
      {"-m mac --mac-source 00:0C:43:28:60", nullptr},
      {"-m mac --mac-source 00:0C:43:28:60:2A:1", nullptr},
      {"-m mac --mac-source 00-0C-43-28-60-2A", nullptr},
      {"-m iprange --src-range 10.1-10.2", "-m iprange --src-range 10.1.0.0-10.2.0.0"},
      {"-m iprange --src-range 1.2.3.4-", nullptr},
      {"-m iprange --src-range any-1.2.3.4", nullptr},
      {"-m iprange --src-range 1.2.3.4/24-1.2.3.5", nullptr},
      {"-m iprange --src-range 0x01020304-1.2.3.5", nullptr},
      {"-p tcp -m tcpmss --mss 1600:1536", nullptr},
      {"--dport 22 -p tcp", nullptr},
      {"-p tcp --tcp-flags SYN,RST SYN -j TCPMSS --set-mss -40", nullptr},
      {"-j DNAT --to 192.168.1", nullptr},
      {"-j DNAT --to 192.168.1.010", nullptr},
  };
  expectReadings(Place::kIptables, kRules);
  static const Reading kFrames[] = {
      {"-s 00:0C:43:28:60:2Ax", "-s 00:0c:43:28:60:2a"},
      {"-s 00:0C:43:28:60:100", "-s 00:0c:43:28:60:10"},
      {"-s 00:0C:43:28:60:2", "-s 00:0c:43:28:60:02"},
      {"-s 00:0C:43:28:60", nullptr},
      {"-s ''", nullptr},
      {"-s 00-0C-43-28-60-2A", nullptr},
      {"-s BroadCast", "-s ff:ff:ff:ff:ff:ff"},
      {"-s Multicast", "-s 01:00:00:00:00:00/01:00:00:00:00:00"},
      {"-s 00:0C:43:28:60:2A/ff:ff:ff:00:00:00", "-s 00:0c:43:00:00:00/ff:ff:ff:00:00:00"},
      {"-s 00:0C:43:28:60:2A/ff:ff:ff", nullptr},
      {"-p ipv4 --ip-src 10.1", "-p IPv4 --ip-src 10.1.0.0"},
      {"-p ipv4 --ip-src 1.2.3.4/255.0.255.0", "-p IPv4 --ip-src 1.0.3.0/255.0.255.0"},
      {"-p ipv4 --ip-src 1.2.3.4,1.2.3.5", nullptr},
      {"-p ipv4 --ip-src any", nullptr},
      {"-p ipv4 --ip-src any/0", "-p IPv4"},
      {"--ip-src 1.2.3.4", nullptr},
      {"-p ipv4 --ip-proto 256", nullptr},
      {"-p ipv4 --ip-proto 1 --ip-sport 7", nullptr},
      {"-p ipv4 --ip-proto 17 --ip-sport 22:21", nullptr},
      {"-p ipv4 --ip-proto 17 --ip-sport 0x10", "-p IPv4 --ip-proto udp --ip-sport 16"},
  };
  expectReadings(Place::kEbtables, kFrames);
}

// Which of these in turn the real tools carried out on a router with br0 and eth2.2.
TEST(Forms, RoutesAreAddedAndRefusedAsByTheTools) {
  const std::pair<const char *, bool> kCommands[] = {
      {"route add -net 10.8.0.0 netmask 255.255.0.0 gw 192.168.1.253 dev br0", true},
      {"route add -net 10.8.0.0 netmask 255.255.0.0 gw 192.168.1.253 dev br0", false},
      {"route add -net 10.8.0.0 netmask 255.255.0.0 gw 192.168.1.254 dev br0", true},
      {"route add -net 10.8.0.0 netmask 255.255.0.0 dev br0", true},
      {"route add -net 10.8.0.1 netmask 255.255.0.0 dev br0", false},
      {"route add -net 10.9.0.0 netmask 255.0.255.0 dev br0", false},
      {"route add -net 10.9.0.0 netmask 255.255.0.0 gw 10.9.0.1 dev br0", false},
      {"route add -net 10.9.0.0 netmask 255.255.0.0 gw 192.168.1.1 dev br0", true},
      {"route add -net 10.9.0.0 netmask 255.255.0.0 gw 0.0.0.0 dev br0", false},
      {"route add -net 10.10.0.0 netmask 255.255.0.0 dev nosuch", false},
      {"route add -host 10.10.0.1 gw 203.0.113.1 dev br0", false},
      {"route add -host 10.1 dev br0", true},
      {"route add -host foo dev br0", false},
      {"route add -net 10.12.0.0 netmask 16 dev br0", false},
      {"route add -net '' netmask 255.255.0.0 dev br0", false},
      {"route add -net 010.12.0.0 netmask 255.255.0.0 dev br0", true},
      {"route del -net 8.12.0.0 netmask 255.255.0.0 dev br0", true},
      {"route del -net 10.8.0.0 netmask 255.255.0.0 dev br0", true},
      {"route del -net 10.8.0.0 netmask 255.255.0.0 dev eth2.2", false},
      {"ip route add default via 203.0.113.1 dev eth2.2 table 100", true},
      {"ip route add default via 192.168.1.9 dev br0 table 100", false},
      {"ip route replace default via 192.168.1.9 dev br0 table 101", true},
      {"ip route add default via '' dev eth2.2 table 102", false},
      {"ip route add default via 10.0.0.1 dev eth2.2 table 102", false},
      {"ip route del default via 203.0.113.9 dev eth2.2 table 100", false},
      {"ip rule add fwmark 0x20000000/0xe0000000 prio 201 table 100", true},
      {"ip rule add fwmark 0x20000000/0xe0000000 prio 201 table 100", false},
      {"ip rule add fwmark 0x20000000/0xe0000000 prio 202 table 100", true},
      {"ip rule del fwmark 0x20000000/0xe0000000 prio 203 table 100", false},
  };
  Router router(network());
  for (const auto &[command, carried_out] : kCommands) {
    const size_t refused = router.refusals().size();
    router.run(command, 0);
    EXPECT_EQ(router.refusals().size() == refused, carried_out) << command;
  }
}
