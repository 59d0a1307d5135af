#include "tools/traffic/expect.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "packets/values.h"
#include "tools/device/config.h"
#include "tools/text/lines.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/trace.h"
#include "tools/traffic/verdict.h"

namespace orba::tool {

using namespace packets;

namespace {

using Node = SideWays::Node;

// ---- reading ----

// What is not understood of a line.
struct Fault {
  std::string what;
};

class Reader {
 public:
  Reader(const std::string &text, const DeskRouter &desk) : desk_(desk) {
    std::istringstream words(text);
    for (std::string word; words >> word;) words_.push_back(word);
  }

  void read(Expectation &made) {
    made.from = word("a side");
    if (made.from != kRouter && desk_.side(made.from) == nullptr) {
      throw Fault{"there is no side '" + made.from + "'"};
    }
    if (std::optional<IntervalSet> hosts = addresses()) made.senders.push_back({kSource, *hosts});
    if (take("with")) {
      if (!take("mac")) throw Fault{"behind 'with' stands 'mac'"};
      uint64_t mac;
      const std::string text = word("a MAC address");
      if (!readMac(text, mac)) throw Fault{"'" + text + "' is no MAC address"};
      made.senders.push_back({kSourceMac, IntervalSet::one(mac)});
    }
    made.can = take("can");
    if (!made.can && !take("cannot")) throw Fault{"'can' or 'cannot' is missing" + here()};
    if (!take("reach")) throw Fault{"'reach' is missing" + here()};
    if (take(kRouter)) {
      made.to = kRouter;
    } else if (next_ < words_.size() && desk_.side(words_[next_]) != nullptr) {
      made.to = words_[next_++];
    }
    made.hosts = addresses();
    if (made.to.empty() && !made.hosts) {
      throw Fault{"whom it reaches is missing: router, a side or an address" + here()};
    }
    if (made.to == kRouter && made.hosts) throw Fault{"the router is told without an address"};
    if (made.to == kRouter && made.from == kRouter) {
      throw Fault{"the router reaches itself, whatever its settings say"};
    }
    while (next_ < words_.size()) {
      for (const std::string &each : splitAt(words_[next_++], ',')) made.what.push_back(what(each));
    }
  }

 private:
  std::string here() const {
    return next_ < words_.size() ? " in front of '" + words_[next_] + "'" : " at the end";
  }

  std::string word(const char *what) {
    if (next_ == words_.size()) throw Fault{std::string(what) + " is missing at the end"};
    return words_[next_++];
  }

  bool take(const std::string &wanted) {
    if (next_ == words_.size() || words_[next_] != wanted) return false;
    next_++;
    return true;
  }

  // Nothing when the next word is none.
  std::optional<IntervalSet> addresses() {
    if (next_ == words_.size() || words_[next_].find('.') == std::string::npos) return std::nullopt;
    IntervalSet values;
    bool pieces = false;
    const std::string &text = words_[next_++];
    if (readAddresses(text, values, pieces) || pieces) {
      throw Fault{"'" + text + "' is no address and no network"};
    }
    return values;
  }

  static Conditions what(const std::string &text) {
    const size_t slash = text.find('/');
    const std::optional<uint64_t> protocol = protocolNamed(text.substr(0, slash));
    if (!protocol) throw Fault{"'" + text + "' is no protocol"};
    Conditions made = {{kProtocol, IntervalSet::one(*protocol)}};
    if (slash == std::string::npos) return made;
    if (*protocol != kTcp && *protocol != kUdp) {
      throw Fault{"'" + text + "': only tcp and udp have ports"};
    }
    std::string range = text.substr(slash + 1);
    std::replace(range.begin(), range.end(), '-', ':');
    IntervalSet ports;
    if (range.empty() || range.front() == ':' || range.back() == ':' ||
        readRange(range, largestOf(kDestinationPort), ports) || ports.empty()) {
      throw Fault{"'" + text + "' has no port or range of ports"};
    }
    made.push_back({kDestinationPort, ports});
    return made;
  }

  const DeskRouter &desk_;
  std::vector<std::string> words_;
  size_t next_ = 0;
};

// ---- judging ----

bool isReached(const Outcome &outcome) {
  return outcome.verdict == Verdict::kDelivered || outcome.verdict == Verdict::kForwarded ||
         outcome.verdict == Verdict::kBridged;
}

// What a router has nothing to do with: whom a packet's frame is for, and where it leaves.
SideWays::Node whateverFrame(Diagrams &diagrams, SideWays::Node packets) {
  return diagrams.forSome(diagrams.forSome(packets, kDestinationMac), kBridgePortOut);
}

// One expectation of one router.
class Judge {
 public:
  Judge(const Expectation &expectation, SideWays &ways)
      : expectation_(expectation),
        ways_(ways),
        diagrams_(ways.diagrams()),
        side_(ways.sender(expectation.from)),
        outcomes_(ways.from(side_).outcomes()),
        senders_(diagrams_.set(expectation.senders)) {
    for (const Side &each : ways.desk().sides) {
      if (!expectation.to.empty() && each.name != expectation.to) continue;
      frames_ = diagrams_.either(frames_, ways.frames(side_, each));
    }
    packets_ = diagrams_.both(diagrams_.either(ways.beginnings(side_), frames_), senders_);
    what_ = expectation.what.empty() ? Diagrams::kAll : Diagrams::kNone;
    for (const Conditions &each : expectation.what) {
      what_ = diagrams_.either(what_, diagrams_.set(each));
    }
    arrived_ = what_;
    if (expectation.hosts) {
      arrived_ = diagrams_.both(arrived_, diagrams_.set({{kDestination, *expectation.hosts}}));
    }
  }

  // The packets that break it, as they are sent ("cannot"), or as they would arrive.
  Node broken() { return expectation_.can ? missing() : got(true); }

  // Of no packet at all nothing is to be told.
  bool holds() { return speaksOfNobody().empty() && broken() == Diagrams::kNone; }

  Judgement judged(Blame &blame) {
    Judgement made;
    made.why = speaksOfNobody();
    if (!made.why.empty()) {
      made.holds = false;
      return made;
    }
    const Node breaking = broken();
    made.holds = breaking == Diagrams::kNone;
    if (made.holds) {
      made.note = noteOf(blame);
      return made;
    }
    Packet packet = ways_.witness(side_, breaking);
    if (expectation_.can) packet = asked(packet);
    made.witness = packet;
    const std::vector<FollowedWay> followed = waysOf(packet, ways_.desk());
    made.why = verdictSentence(followed, ways_.desk(), blame);
    const Verdict verdict = followed[0].walk.verdict;
    const bool got = verdict == Verdict::kForwarded || verdict == Verdict::kDelivered;
    if (expectation_.can && got && isWan(side_.name) && diagrams_.value(from(), packet) == 0) {
      made.why += "; but only a neighbour on the wire of " + side_.name + " can send it";
    }
    return made;
  }

 private:
  // Why there is no packet that it speaks of, empty where there is.
  std::string speaksOfNobody() {
    const std::string nobody = "it speaks of nobody: ";
    if (packets_ == Diagrams::kNone) {
      return nobody + "no host of " + expectation_.from + " has such an address";
    }
    if (!expectation_.can || wanted() != Diagrams::kNone) return "";
    if (expectation_.from == kRouter) return nobody + "the router sends there from another address";
    if (from() != Diagrams::kNone) return nobody + "there is no such host";
    return nobody + "only a neighbour on the wire of " + expectation_.from +
           " can have such an address";
  }

  // Whether packets with an outcome go where the expectation says. Of frames that the bridge
  // passes on those alone are asked about that go there.
  bool goesThere(const Outcome &outcome) {
    if (!isReached(outcome)) return false;
    if (expectation_.to.empty() || outcome.verdict == Verdict::kBridged) return true;
    if (outcome.verdict == Verdict::kDelivered) return expectation_.to == kRouter;
    return expectation_.to != kRouter &&
           ways_.targetOf(outcome.out) == ways_.targetOf(ways_.side(expectation_.to));
  }

  template <typename Each>
  void eachOutcome(Node packets, const Each &each) {
    for (const auto &[number, part] : diagrams_.parts(ways_.placesFrom1(side_, packets))) {
      if (number != 0) each(outcomes_[number - 1], part);
    }
  }

  // The packets that get there; `maybe` also those that a program is given.
  Node got(bool maybe) {
    Node all = Diagrams::kNone;
    eachOutcome(packets_, [&](const Outcome &outcome, Node packets) {
      if (maybe && outcome.verdict == Verdict::kUnknown) {
        all = diagrams_.either(all, diagrams_.both(packets, what_));
      }
      if (!goesThere(outcome)) return;
      all = diagrams_.either(all, diagrams_.both(packets, ways_.arrivingAmong(outcome, arrived_)));
    });
    return all;
  }

  // From whom "can" speaks: hosts that need no neighbour. To a host behind another port of their
  // bridge they send frames.
  Node from() {
    Node ordinary = ways_.ordinary(side_);
    const bool with_mac =
        std::any_of(expectation_.senders.begin(), expectation_.senders.end(),
                    [](const Condition &each) { return each.field == kSourceMac; });
    if (with_mac) ordinary = diagrams_.forSome(ordinary, kSourceMac);
    if (frames_ != Diagrams::kNone) {
      ordinary = expectation_.to.empty() ? diagrams_.either(ordinary, frames_) : frames_;
    }
    return diagrams_.both(ordinary, senders_);
  }

  // What should arrive.
  Node wanted() {
    // The router's address depends on whom it sends to.
    const Node sent = expectation_.from == kRouter
                          ? from()
                          : whateverFrame(diagrams_, diagrams_.forSome(from(), kDestination));
    return diagrams_.both(sent, diagrams_.both(what_, diagrams_.set({{kDestination, hosts()}})));
  }

  // What should arrive and surely does not.
  Node missing() {
    const Node sure = diagrams_.forAllAnswers(got(false));
    Node arriving = Diagrams::kNone;
    eachOutcome(diagrams_.both(sure, from()), [&](const Outcome &outcome, Node packets) {
      if (!goesThere(outcome)) return;
      arriving =
          diagrams_.either(arriving, ways_.arriving(outcome, diagrams_.forSomeAnswer(packets)));
    });
    return diagrams_.without(wanted(), whateverFrame(diagrams_, arriving));
  }

  // Whom "can" speaks of.
  IntervalSet hosts() {
    if (expectation_.hosts) return *expectation_.hosts;
    if (expectation_.to == kRouter) {
      IntervalSet found;
      for (const Address &each : ways_.desk().own(side_).addresses) {
        found.add({each.address, each.address});
      }
      return found;
    }
    return ways_.hostsOf(ways_.side(expectation_.to));
  }

  // A packet that should have arrived as it is sent: a host of the Internet knows the router's
  // address for all that is behind it, and one behind a bridge the other host's.
  Packet asked(Packet packet) {
    const bool by_bridge = frames_ != Diagrams::kNone && !expectation_.to.empty();
    if (by_bridge) {
      const Packet frame = ways_.witness(side_, frames_);
      for (FieldId field : {kDestinationMac, kBridgePortOut}) packet[field] = frame[field];
    }
    if (by_bridge || !isWan(side_.name)) return packet;
    const auto &own = ways_.desk().own(side_).addresses;
    const IntervalSet outside = ways_.desk().routed([&](const Route &route) {
      return isWan(ways_.targetOf(ways_.desk().router.network().number(route.device)));
    });
    if (!outside.contains(packet[kDestination]) && !own.empty()) {
      packet[kDestination] = own[0].address;
    }
    return packet;
  }

  // Whether the answer to one of the packets comes back.
  std::string noteOf(Blame &blame) {
    const Node there = expectation_.can ? got(false) : Diagrams::kNone;
    if (there == Diagrams::kNone) return "";
    const Packet first = ways_.witness(side_, there);
    for (const FollowedWay &way : waysOf(first, ways_.desk())) {
      const bool back = std::any_of(way.answers.begin(), way.answers.end(), [](const auto &each) {
        return each.walk.verdict == Verdict::kForwarded || each.walk.verdict == Verdict::kDelivered;
      });
      if (back || way.answers.empty()) continue;
      return sentText(first, ways_.ordinaryMac()) + ": " +
             withVerb(verdictSentence(way.answers, ways_.desk(), blame), "its answer");
    }
    return "";
  }

  const Expectation &expectation_;
  SideWays &ways_;
  Diagrams &diagrams_;
  const Side &side_;
  const std::vector<Outcome> &outcomes_;
  const Node senders_;
  Node frames_ = Diagrams::kNone;  // to where it says, past the router
  Node packets_;                   // of the senders, whatever they begin
  Node what_;                      // the protocols and ports that it speaks of
  Node arrived_;                   // the packets that it speaks of where they arrive
};

}  // namespace

std::vector<Expectation> readExpectations(const std::string &path, const DeskRouter &desk) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw BadConfig(path + ": " + strerror(errno));
  std::vector<Expectation> made;
  std::string faults;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    number++;
    line.erase(std::min(line.find('#'), line.size()));
    const size_t begin = line.find_first_not_of(" \t\r");
    if (begin == std::string::npos) continue;
    Expectation each = {.file = path, .line = number};
    each.text = line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin);
    try {
      Reader(each.text, desk).read(each);
      made.push_back(std::move(each));
    } catch (const Fault &fault) {
      faults += (faults.empty() ? "" : "\n") + path + ":" + std::to_string(number) + ": " +
                visible(fault.what);
    }
  }
  if (!faults.empty()) throw BadConfig(faults);
  if (made.empty()) throw BadConfig(path + ": there is no expectation in it");
  return made;
}

namespace {

// What is said with one sentence: "wan cannot" also speaks of the Ethernet below its link.
std::vector<Expectation> allSaidWith(const Expectation &expectation, const DeskRouter &desk) {
  std::vector<Expectation> said = {expectation};
  if (!expectation.can && desk.side(wireOf(expectation.from)) != nullptr) {
    said.push_back(expectation);
    said.back().from = wireOf(expectation.from);
  }
  return said;
}

}  // namespace

bool holds(const Expectation &expectation, SideWays &ways) {
  const std::vector<Expectation> said = allSaidWith(expectation, ways.desk());
  return std::all_of(said.begin(), said.end(),
                     [&](const Expectation &each) { return Judge(each, ways).holds(); });
}

Judgement judge(const Expectation &expectation, SideWays &ways, Blame &blame) {
  Judgement judgement;
  for (const Expectation &each : allSaidWith(expectation, ways.desk())) {
    judgement = Judge(each, ways).judged(blame);
    if (judgement.holds) continue;
    if (each.from != expectation.from) judgement.why += "; it comes from " + each.from;
    break;
  }
  return judgement;
}

Coverage coverageOf(const std::vector<Expectation> &expectations, SideWays &ways,
                    const Progress &progress) {
  std::vector<const Expectation *> held;
  std::set<std::string> sides;
  for (const Expectation &each : expectations) {
    if (!holds(each, ways)) continue;
    held.push_back(&each);
    for (const Expectation &said : allSaidWith(each, ways.desk())) sides.insert(said.from);
  }
  const auto &chains = ways.desk().router.chains();
  size_t done = 0, all = 0;
  for (const auto &[place, chain] : chains) all += chain.rules.size();
  Coverage coverage;
  for (const auto &[place, chain] : chains) {
    for (size_t i = 0; i < chain.rules.size(); i++) {
      if (progress) progress(done++, all);
      const RuleAt rule = {place, i};
      const Target::Kind kind = chain.rules[i].target.kind;
      if (kind == Target::kGoOn || kind == Target::kJump) continue;
      // Where nothing meets it nothing changes without it.
      const bool met = std::any_of(sides.begin(), sides.end(), [&](const std::string &name) {
        const Side &side = ways.sender(name);
        Node begun = ways.beginnings(side);
        for (const Side &to : ways.desk().sides) {
          begun = ways.diagrams().either(begun, ways.frames(side, to));
        }
        begun = ways.diagrams().both(ways.from(side).actsOn(rule), begun);
        return ways.withoutText(begun) != Diagrams::kNone;
      });
      bool missed = false;
      if (met) {
        const DeskRouter desk = {ways.desk().runs, ways.desk().commands, ways.desk().sides,
                                 ways.desk().router.without(rule)};
        SideWays without(desk, ways.diagrams());
        missed = std::any_of(held.begin(), held.end(),
                             [&](const Expectation *each) { return !holds(*each, without); });
      }
      if (!met) coverage.unmet++;
      if (met && !missed) coverage.unmissed.push_back(rule);
    }
  }
  return coverage;
}

}  // namespace orba::tool
