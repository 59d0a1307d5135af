#include "tools/traffic/verdict.h"

#include <algorithm>

#include "tools/traffic/packet_words.h"

namespace orba::tool {

namespace {

using namespace packets;

constexpr char kNatScript[] = "nat.sh";

std::string interfaceName(const DeskRouter &desk, uint64_t number) {
  const std::vector<Interface> &interfaces = desk.router.network().interfaces;
  return number < interfaces.size() ? interfaces[number].name : "nowhere";
}

bool isPolicy(const RuleAt &at) {
  return at.rule == RuleAt::kPolicy;
}

const char *policyName(const RuleAt &at, const DeskRouter &desk) {
  return desk.router.chain(at.place)->policy == Target::kDrop ? "DROP" : "ACCEPT";
}

// "the policy of FORWARD, DROP because of firewallAction=ACCEPT: no rule there decides"
std::string policyText(const RuleAt &at, const DeskRouter &desk, Blame &blame) {
  const std::string setting = blame.nameOf(blame.commandOf(at));
  return "the policy of " + at.place.chain + ", " + policyName(at, desk) +
         (setting.empty() ? "" : " because of " + setting) + ": no rule there decides";
}

// Where it goes on to, and as what.
std::string sentText(const FollowedWay &way, const DeskRouter &desk) {
  const Packet &sent = way.packet, &end = way.walk.end;
  std::string text = " out of " + interfaceName(desk, end[kOut]);
  const std::string to = endText(end, kDestination, kDestinationPort);
  const std::string from = endText(end, kSource, kSourcePort);
  if (to != endText(sent, kDestination, kDestinationPort)) text += " to " + to;
  if (from != endText(sent, kSource, kSourcePort)) text += " as " + from;
  return text;
}

// Why routing takes a packet for one that cannot be.
std::string martianText(const Packet &packet, const DeskRouter &desk) {
  const uint64_t source = packet[kSource], destination = packet[kDestination];
  const std::string from = addressText(source);
  if (destination >> 24 == 127 || destination == 0) {
    return "nothing that comes from outside can be for " + addressText(destination);
  }
  if (source >> 28 == 0xe || source >> 24 == 127 || source == 0 || source == 0xffffffff) {
    return "no host sends from " + from;
  }
  const std::optional<Route> back = desk.router.network().route(source, 0);
  if (back && back->kind == Route::kLocal) return from + " is the router's own address";
  return "no host of its network sends from " + from;
}

}  // namespace

std::string causeText(const RuleAt &at, const DeskRouter &desk, Blame &blame) {
  if (isPolicy(at)) return policyText(at, desk, blame);
  const size_t command = blame.commandOf(at);
  const std::vector<Origin> &origins = blame.originsOf(command);
  if (!origins.empty() && origins[0].record != 0) return blame.nameOf(command);
  const std::string rule = "rule " + std::to_string(at.rule + 1) + " of " + at.place.chain;
  if (desk.text(command).rfind(kNatScript, 0) == 0) return rule + ", which nat.sh makes";
  if (origins.empty()) return rule + ", which is always there";
  return rule + ", because of " + blame.nameOf(command);
}

namespace {

const std::string &wordsOf(FieldId question, const DeskRouter &desk) {
  return desk.router.unknowns().at(question - kFields);
}

std::string subjectOf(FieldId question, const DeskRouter &desk) {
  static const struct {
    const char *option, *about;
  } kAbout[] = {{"--limit ", "how many such packets came lately"},
                {"--content ", "what the web page holds"},
                {"--url ", "the URL that is asked for"},
                {"--host ", "the host that is asked for"}};
  for (const auto &each : kAbout) {
    if (wordsOf(question, desk).find(each.option) != std::string::npos) return each.about;
  }
  return "an address that no short list of ranges says";
}

}  // namespace

std::string questionText(FieldId question, const DeskRouter &desk) {
  return subjectOf(question, desk) + " (" + wordsOf(question, desk) + ")";
}

std::string verdictSentence(const FollowedWay &way, const DeskRouter &desk, Blame &blame) {
  const Walk &walk = way.walk;
  const Packet &packet = way.packet;
  const std::string cause = walk.decided_by ? causeText(*walk.decided_by, desk, blame) : "";
  const std::string by = cause.empty() ? "" : " by " + cause;
  const std::string accepted = cause.empty() ? "" : ": accepted" + by;
  switch (walk.verdict) {
    case Verdict::kForwarded: {
      const bool own = packet[kBridgePort] == kNoInterface;
      const std::string text = (own ? "sent" : "forwarded") + sentText(way, desk);
      if (!walk.translated_by) return text + accepted;
      const std::string translated = causeText(*walk.translated_by, desk, blame);
      return translated == cause ? text + by : text + ", translated by " + translated + accepted;
    }
    case Verdict::kDelivered:
      return "delivered to the router" + accepted;
    case Verdict::kDropped:
      return "dropped" + by;
    case Verdict::kRejected:
      return "rejected" + by;
    case Verdict::kNoRoute:
      return "dropped by routing: no route leads to " + addressText(walk.end[kDestination]) +
             ", and the sender is told";
    case Verdict::kMartian:
      return "dropped by routing: " + martianText(walk.end, desk);
    case Verdict::kNobody:
      return walk.end[kDestination] >= 0xe0000000
                 ? "dropped by routing: the router is not in the group " +
                       addressText(walk.end[kDestination])
                 : "dropped: nobody here takes it, since its frame is not for the router alone";
    case Verdict::kBridged:
      return "passed on by the bridge: it is for another host, and only rules of the bridge see it";
    case Verdict::kUnknown:
      break;
  }
  return "not known: the DMZ program, or the kernel among several hosts, decides who gets it" +
         (cause.empty() ? "" : ", after " + cause);
}

std::string withVerb(const std::string &sentence, const std::string &subject) {
  return subject + (sentence.rfind("depends", 0) == 0 ? " " : " is ") + sentence;
}

namespace {

// Of a list this many are told.
constexpr size_t kMostTold = 4;

// "a, b and c"; of a long list the first ones, and how many there are besides.
std::string listed(const std::vector<std::string> &texts, const char *last) {
  std::string text;
  const size_t told = texts.size() > kMostTold ? kMostTold - 1 : texts.size();
  for (size_t i = 0; i < told; i++) {
    const bool ends = i + 1 == texts.size();
    text += (i == 0 ? "" : ends ? " " + std::string(last) + " " : ", ") + texts[i];
  }
  if (told < texts.size()) {
    text += std::string(" ") + last + " " + std::to_string(texts.size() - told) + " more";
  }
  return text;
}

void addOnce(std::vector<std::string> &texts, const std::string &text) {
  if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
}

bool gotThrough(const FollowedWay &way) {
  return way.walk.verdict == Verdict::kForwarded || way.walk.verdict == Verdict::kDelivered;
}

// Whether rules of the bridge keep it from the router: they know hosts by their MAC addresses.
bool isForItsMac(const FollowedWay &answer) {
  return !gotThrough(answer) && answer.walk.decided_by &&
         answer.walk.decided_by->place.program == Place::kEbtables;
}

// Whether the end without any match is told in full where it is that the packet gets through.
enum class Otherwise { kFull, kBrief };

std::string togetherSentence(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                             Blame &blame, Otherwise otherwise);

// Its end, and that of what follows it where that does not come through.
std::string wholeSentence(const FollowedWay &way, const DeskRouter &desk, Blame &blame) {
  std::string text = verdictSentence(way, desk, blame);
  auto add = [&](const std::vector<FollowedWay> &more, const char *what) {
    if (std::all_of(more.begin(), more.end(), gotThrough)) return;
    text += withVerb(togetherSentence(more, desk, blame, Otherwise::kBrief), what);
  };
  add(way.answers, "; but its answer");
  // The sender waits for an answer from where it sent to.
  if (way.answered_past && way.walk.translated_by) {
    text += "; but its answer goes past the router, from " +
            addressText(way.walk.end[kDestination]) + " straight to " +
            addressText(way.walk.end[kSource]) + ", which asked " +
            addressText(way.packet[kDestination]);
  }
  if (!way.answers.empty() && isForItsMac(way.answers[0])) {
    text += " (so is that of any host whose MAC address no rule names)";
  }
  add(way.data, "; what it then sends");
  return text;
}

// Ways that end alike: those of one verdict.
struct End {
  Verdict verdict;
  std::vector<std::string> when;       // a question, or several of them, whose rule matches
  std::vector<std::string> sentences;  // without those that are equal
  std::vector<std::string> causes;
};

// What a question is about and the words of all that are about that.
std::string aboutText(const std::vector<FollowedWay> &ways, const DeskRouter &desk) {
  std::vector<std::pair<std::string, std::vector<std::string>>> abouts;
  for (const FollowedWay &way : ways) {
    for (FieldId question : way.asked) {
      const std::string about = subjectOf(question, desk);
      auto known = std::find_if(abouts.begin(), abouts.end(),
                                [&](const auto &each) { return each.first == about; });
      if (known == abouts.end()) known = abouts.insert(abouts.end(), {about, {}});
      addOnce(known->second, wordsOf(question, desk));
    }
  }
  std::vector<std::string> texts;
  texts.reserve(abouts.size());
  for (const auto &[about, words] : abouts) {
    texts.push_back(about + " (" + listed(words, "or") + ")");
  }
  return listed(texts, "and");
}

std::string togetherSentence(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                             Blame &blame, Otherwise otherwise) {
  std::vector<End> ends;
  for (const FollowedWay &way : ways) {
    std::string when;
    for (FieldId question : way.asked) {
      if (way.matched(question)) when += (when.empty() ? "" : " and ") + wordsOf(question, desk);
    }
    auto known = std::find_if(ends.begin(), ends.end(),
                              [&](const End &end) { return end.verdict == way.walk.verdict; });
    if (known == ends.end()) known = ends.insert(ends.end(), {way.walk.verdict, {}, {}, {}});
    if (!when.empty()) addOnce(known->when, when);
    addOnce(known->sentences, wholeSentence(way, desk, blame));
    if (way.walk.decided_by) addOnce(known->causes, causeText(*way.walk.decided_by, desk, blame));
  }
  if (ends.size() == 1 && ends[0].sentences.size() == 1) return ends[0].sentences[0];
  std::string text = "depends on " + aboutText(ways, desk) + ": ";
  for (size_t i = 1; i < ends.size(); i++) {
    const End &end = ends[i];
    if (end.sentences.size() == 1) {
      text += "where " + listed(end.when, "or") + " matches, " + end.sentences[0] + "; ";
    } else {
      text += std::string("where one of these matches, ") + verdictName(end.verdict) + " by " +
              listed(end.causes, "or") + "; ";
    }
  }
  const bool brief = otherwise == Otherwise::kBrief && gotThrough(ways[0]);
  return text + "otherwise " + (brief ? "it gets through" : ends[0].sentences[0]);
}

}  // namespace

std::string verdictSentence(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                            Blame &blame) {
  return togetherSentence(ways, desk, blame, Otherwise::kFull);
}

}  // namespace orba::tool
