#include "tools/traffic/trace.h"

#include <algorithm>
#include <set>

#include "tools/text/lines.h"
#include "tools/traffic/packet_words.h"

namespace orba::tool {

namespace {

using namespace packets;

// Each question that a packet meets gives it one way more; a web filter has one for each host.
constexpr size_t kMostWays = 1000;

// How long a packet is of the headers of IP and TCP without options, and one with data.
constexpr uint64_t kBareTcp = 40, kWithData = 1500;

// Of rules that look at what a packet carries.
const char *const kTextOptions[] = {"--content ", "--url ", "--host "};

bool isFirst(FieldId question, const std::vector<FieldId> &questions) {
  return std::find(questions.begin(), questions.end(), question) == questions.end();
}

void follow(const Packet &packet, const std::vector<FieldId> &settled, const DeskRouter &desk,
            const Connection *connection, std::vector<FollowedWay> &ways) {
  if (ways.size() == kMostWays) return;
  const bool own = packet[kBridgePort] == kNoInterface;
  FollowedWay way{{}, packet, {}};
  way.walk =
      own ? walkFromRouter(desk.router, packet, connection) : walk(desk.router, packet, connection);
  for (FieldId question : way.walk.asked) {
    const bool open = isOpen(question, packet, desk);
    if (open && isFirst(question, way.asked)) way.asked.push_back(question);
  }
  const std::vector<FieldId> asked = way.asked;
  ways.push_back(std::move(way));
  // The others part from this one where a question's rule matches.
  std::vector<FieldId> known = settled;
  for (FieldId question : asked) {
    if (!isFirst(question, settled)) continue;
    known.push_back(question);
    Packet other = packet;
    other[question] = 1;
    follow(other, known, desk, connection, ways);
  }
}

std::vector<FollowedWay> followed(const Packet &packet, const DeskRouter &desk,
                                  const Connection *connection) {
  std::vector<FollowedWay> ways;
  follow(packet, {}, desk, connection, ways);
  return ways;
}

bool isBridged(uint64_t port, const DeskRouter &desk) {
  const std::vector<Interface> &interfaces = desk.router.network().interfaces;
  return port < interfaces.size() && !interfaces[port].bridge.empty();
}

// Whether the other side has something to answer.
bool isAnswered(const FollowedWay &way) {
  const Packet &packet = way.packet;
  const uint64_t destination = way.walk.end[kDestination];
  const bool got_there =
      way.walk.verdict == Verdict::kForwarded || way.walk.verdict == Verdict::kDelivered;
  const bool to_many = destination >> 28 >= 0xe || packet[kDestinationMac] >> 40 == 0xff;
  return got_there && packet[kState] == kNew && !to_many && packet[kProtocol] != kIgmp &&
         (packet[kProtocol] != kTcp || packet[kTcpFlags] == kSyn);
}

// Whether the sender, as the other side sees it, is a host of the network that the packet left by.
bool isAnsweredPast(const Walk &walk, const Network &network) {
  const uint64_t out = walk.end[kOut], asker = walk.end[kSource];
  if (walk.verdict != Verdict::kForwarded || out >= network.interfaces.size()) return false;
  const std::vector<Address> &own = network.interfaces[out].addresses;
  const auto is = [&](const Address &each) { return each.address == asker; };
  return std::none_of(own.begin(), own.end(), is) &&
         network.onLink(asker, network.interfaces[out].name);
}

}  // namespace

bool isAboutText(const std::string &question) {
  return std::any_of(std::begin(kTextOptions), std::end(kTextOptions), [&](const char *option) {
    return question.find(option) != std::string::npos;
  });
}

bool isOpen(FieldId question, const Packet &packet, const DeskRouter &desk) {
  const bool empty =
      packet[kProtocol] == kTcp && ((packet[kTcpFlags] & kSyn) != 0 || packet[kLength] <= kBareTcp);
  return !empty || !isAboutText(desk.router.unknowns().at(question - kFields));
}

std::vector<FollowedWay> waysOf(const Packet &packet, const DeskRouter &desk) {
  std::vector<FollowedWay> ways = followed(packet, desk, nullptr);
  for (FollowedWay &way : ways) {
    if (!isAnswered(way)) continue;
    way.answered_past = isAnsweredPast(way.walk, desk.router.network());
    if (way.answered_past) continue;
    const Connection connection{way.packet, way.walk.end};
    Packet answer = answerTo(desk.router, way.packet, way.walk);
    if (isBridged(answer[kBridgePort], desk)) answer[kSourceMac] = macOfNoRule(desk.router);
    way.answers = followed(answer, desk, &connection);
    if (packet[kProtocol] != kTcp) continue;
    Packet data = way.packet;
    data[kState] = kEstablished;
    data[kTcpFlags] = kPush | kAcknowledge;
    data[kLength] = kWithData;
    way.data = followed(data, desk, &connection);
    if (way.data[0].asked.empty()) way.data.clear();
  }
  return ways;
}

namespace {

// What stands behind an option, empty for none.
std::string behind(const std::vector<std::string> &words, const char *option) {
  auto found = std::find(words.begin(), words.end(), option);
  return found == words.end() || found + 1 == words.end() ? "" : found[1];
}

// Whether a route that was refused leads to one of the addresses; of one whose addresses cannot
// be read nobody knows.
bool leadsTo(const std::vector<std::string> &words, const std::set<uint64_t> &addresses) {
  uint64_t destination, mask = 0xffffffff;
  const std::string network = behind(words, "-net");
  const std::string text = network.empty() ? behind(words, "-host") : network;
  if (!readAddress(text, destination)) return true;
  if (!network.empty() && !readAddress(behind(words, "netmask"), mask)) return true;
  return std::any_of(addresses.begin(), addresses.end(),
                     [&](uint64_t address) { return ((address ^ destination) & mask) == 0; });
}

// Whether a refused rule or route of the policies is for a mark that the packet had.
bool isForMark(const std::vector<std::string> &words, const std::set<uint32_t> &marks,
               const Network &network) {
  const std::string table = behind(words, "table");
  for (const RoutingRule &rule : network.rules) {
    if (rule.table != table) continue;
    return std::any_of(marks.begin(), marks.end(),
                       [&](uint32_t mark) { return ((rule.mark ^ mark) & rule.mask) == 0; });
  }
  return words[1] == "rule";  // nothing leads to a table that has no rule
}

// Where a packet was, on all of its ways.
struct Visited {
  std::set<Place> chains;
  std::set<uint64_t> destinations;  // that it was routed by
  std::set<uint32_t> marks;
};

void visit(const std::vector<FollowedWay> &ways, Visited &visited) {
  for (const FollowedWay &way : ways) {
    for (const Step &step : way.walk.steps) {
      visited.chains.insert(step.at.place);
      if (step.kind != Step::kRoute) continue;
      visited.destinations.insert(step.packet[kDestination]);
      visited.marks.insert(static_cast<uint32_t>(step.packet[kMark]));
    }
    visit(way.answers, visited);
    visit(way.data, visited);
  }
}

// Whether a refused command was for a chain that the packet came through, or for a route that
// leads where it went; one of any other kind may matter.
bool concerns(const std::string &command, const Visited &visited, const Network &network) {
  std::vector<std::string> words = splitAt(command, ' ');
  std::erase(words, "");
  if (words[0] == "route") return leadsTo(words, visited.destinations);
  if (words[0] == "ip") return isForMark(words, visited.marks, network);
  if (words[0] != "iptables" && words[0] != "ebtables") return true;
  const std::string table = behind(words, "-t");
  Place place{words[0] == "iptables" ? Place::kIptables : Place::kEbtables,
              table.empty() ? "filter" : table, behind(words, "-A")};
  if (place.chain.empty()) place.chain = behind(words, "-I");
  return place.chain.empty() || visited.chains.count(place) != 0;
}

std::vector<const Refusal *> refusalsFor(const std::vector<FollowedWay> &ways,
                                         const DeskRouter &desk) {
  Visited visited;
  visit(ways, visited);
  std::vector<const Refusal *> refusals;
  for (const Refusal &each : desk.router.refusals()) {
    const bool matters = each.missing && concerns(each.words, visited, desk.router.network());
    if (matters) refusals.push_back(&each);
  }
  return refusals;
}

}  // namespace

std::vector<MissingCommand> missingFor(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                                       Blame &blame) {
  std::vector<MissingCommand> missing;
  for (const Refusal *each : refusalsFor(ways, desk)) {
    const std::string setting = blame.nameOf(each->command);
    // A record that makes several rules is told once.
    const bool known =
        !setting.empty() && std::any_of(missing.begin(), missing.end(), [&](const auto &other) {
          return other.setting == setting && other.refusal.why == each->why;
        });
    if (!known) missing.push_back({*each, setting});
  }
  return missing;
}

bool acts(const Rule &rule) {
  return rule.target.kind != Target::kJump && rule.target.kind != Target::kGoOn;
}

const RoutingRule *ruleOf(const Route &route, uint64_t mark, const DeskRouter &desk) {
  for (const RoutingRule &rule : desk.router.network().rules) {
    if (rule.table == route.table && ((rule.mark ^ mark) & rule.mask) == 0) return &rule;
  }
  return nullptr;
}

std::vector<size_t> commandsOf(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                               const Blame &blame) {
  std::vector<size_t> commands;
  for (const FollowedWay &way : ways) {
    for (const Step &step : way.walk.steps) {
      const bool rule = step.kind == Step::kRule && step.matched;
      if (step.kind == Step::kPolicy ||
          (rule && acts(desk.router.chain(step.at.place)->rules[step.at.rule]))) {
        commands.push_back(blame.commandOf(step.at));
      }
      if (!step.route) continue;
      commands.push_back(step.route->command);
      const RoutingRule *by = ruleOf(*step.route, step.packet[kMark], desk);
      if (by != nullptr) commands.push_back(by->command);
    }
    for (const std::vector<FollowedWay> *more : {&way.answers, &way.data}) {
      for (size_t command : commandsOf(*more, desk, blame)) commands.push_back(command);
    }
  }
  for (const Refusal *refusal : refusalsFor(ways, desk)) commands.push_back(refusal->command);
  return commands;
}

}  // namespace orba::tool
