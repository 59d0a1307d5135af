// What a change of settings does to traffic, for people and for programs.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "tools/text/lines.h"
#include "tools/traffic/change.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/question.h"

namespace orba::tool {

namespace {

constexpr char kHeading[] = "\033[1m", kGreen[] = "\033[32m", kRed[] = "\033[31m",
               kYellow[] = "\033[33m", kPlain[] = "\033[0m";

// A longer value is cut.
constexpr size_t kMostOfValue = 60;

std::string sideText(const std::string &side) {
  if (side == "lan") return "the wired LAN";
  if (side == "wifi") return "the radio";
  if (!isWan(side)) return side;
  if (isWire(side)) {
    const std::string number = side.substr(3, side.find('-') - 3);
    return "the Ethernet below the link of WAN " + (number.empty() ? "1" : number);
  }
  return side == "wan" ? "the Internet" : "the Internet behind WAN " + side.substr(3);
}

std::string listed(const std::vector<std::string> &texts, const char *between) {
  std::string list;
  for (const std::string &each : texts) list += (list.empty() ? "" : between) + each;
  return list;
}

// Two words for each: whether packets passed, and whether they do.
struct Words {
  const char *sign, *colour, *now;
};

Words wordsOf(Passes was, Passes is) {
  static const Words kWords[3][3] = {
      {{"~", kYellow, "refused otherwise"},
       {"+", kGreen, "let through now at times"},
       {"+", kGreen, "let through now"}},
      {{"-", kRed, "no longer let through at times"},
       {"~", kYellow, "let through at other times now"},
       {"+", kGreen, "always let through now"}},
      {{"-", kRed, "no longer let through"},
       {"-", kRed, "no longer always let through"},
       {"~", kYellow, "goes another way now"}},
  };
  return kWords[static_cast<int>(was)][static_cast<int>(is)];
}

// Packets of a kind other than the first, which are not told one by one.
const char *packetsText(TrafficChange::Packets packets) {
  switch (packets) {
    case TrafficChange::kNeighbours:
      return "what only a neighbour on its wire can begin";
    case TrafficChange::kLater:
      return "packets of connections that are there already";
    case TrafficChange::kFrames:
      return "frames between the ports of the bridge";
    default:
      return "what is forged, for groups or of no connection";
  }
}

const char *packetsName(TrafficChange::Packets packets) {
  static const char *const kNames[] = {"first", "neighbours", "later", "others", "frames"};
  return kNames[packets];
}

const char *passesName(Passes passes) {
  static const char *const kNames[] = {"no", "depends", "yes"};
  return kNames[static_cast<int>(passes)];
}

std::string endText(const Slice &slice, packets::FieldId field, const Ends &ends) {
  const auto found = slice.fields.find(field);
  return found == slice.fields.end() ? "anyone" : endsText(found->second, ends);
}

// "tcp 22, udp 53 from the Internet to the router"
std::string slicesText(const TrafficChange &change, const Ends &ends) {
  if (change.slices.empty()) {
    return std::string(packetsText(change.packets)) + " from " + sidesText(change.from);
  }
  const Slice &first = change.slices[0];
  std::vector<std::string> protocols;
  for (const Slice &each : change.slices) protocols.push_back(protocolsText(each));
  std::string text = first.whole ? "" : "some of ";
  text += listed(protocols, "; ") + othersText(first) + " from " + sidesText(change.from);
  const std::string source = endText(first, packets::kSource, ends);
  if (source != "the Internet" && source != "the LAN" && source != "anyone") {
    text += " (" + source + ")";
  }
  return text + " to " + endText(first, packets::kDestination, ends);
}

// Where they are sent on to, when that is not where they were sent.
std::string onText(const Fate &fate) {
  if (!fate.destination) return "";
  std::string text = packets::addressText(*fate.destination);
  if (fate.port) text += ":" + std::to_string(*fate.port);
  return text;
}

std::string changeText(const TrafficChange &change, const Ends &ends) {
  const Words words = wordsOf(change.was_passed, change.passes);
  std::string text = std::string(words.sign) + " " + slicesText(change, ends);
  const bool elsewhere = change.was_passed == change.passes;
  if (change.slices.empty() || !elsewhere) text += std::string(": ") + words.now;
  if (change.alike > 1) {
    if (elsewhere) text += std::string(": ") + words.now;
  } else if (elsewhere && !change.slices.empty()) {
    text += ": " + fateText(change.is) + " now, before " + fateText(change.was);
  } else if (!elsewhere && !change.slices.empty()) {
    const std::string on = onText(change.is.passes() ? change.is : change.was);
    if (!on.empty()) text += ", sent on to " + on;
  }
  return text;
}

}  // namespace

std::vector<const TrafficChange *> toldChanges(const TrafficChanges &changes) {
  std::vector<const TrafficChange *> told;
  // Where first packets fare otherwise, from which sides and in which direction.
  std::set<std::pair<std::vector<std::string>, std::string>> first;
  for (const TrafficChange &each : changes.changes) {
    const std::pair where = {each.from, std::string(wordsOf(each.was_passed, each.passes).sign)};
    if (each.packets == TrafficChange::kFirst) first.insert(where);
    if (each.packets == TrafficChange::kFirst || first.count(where) == 0) told.push_back(&each);
  }
  return told;
}

std::string trafficChangeText(const TrafficChange &change, const DeskRouter &after) {
  return changeText(change, Ends(after));
}

std::string sidesText(const std::vector<std::string> &sides) {
  if (sides == std::vector<std::string>{"lan", "wifi"}) return "the LAN";
  std::vector<std::string> texts;
  for (const std::string &each : sides) texts.push_back(sideText(each));
  return listed(texts, " and ");
}

std::string fateText(const Fate &fate) {
  switch (fate.kind) {
    case Fate::kSilence:
      return "dropped";
    case Fate::kRefusal:
      return "refused, and the sender told";
    case Fate::kProgram:
      return "left to a program of the device";
    case Fate::kBridged:
      return "bridged";
    case Fate::kRouter:
      return "to the router";
    case Fate::kOut:
      break;
  }
  std::string text = "out to " + (fate.out == "lan" ? "the LAN" : sideText(fate.out));
  if (fate.destination) text = "to " + onText(fate);
  if (fate.masqueraded) text += ", masqueraded";
  return text;
}

std::string settingChangeText(const SettingChange &change) {
  std::string name = change.key;
  if (change.space != 1) name += " (space " + std::to_string(change.space) + ")";
  if (change.record != 0) {
    if (change.before && change.after) {
      return "record " + std::to_string(change.record) + " of " + name + " is (" + *change.after +
             "), was (" + *change.before + ")";
    }
    const std::string &text = change.after ? *change.after : *change.before;
    return "record " + std::to_string(change.record) + " of " + name + " (" + text + ") is " +
           (change.after ? "new" : "gone");
  }
  const auto cut = [](const std::string &value) {
    return value.size() <= kMostOfValue ? value : value.substr(0, kMostOfValue) + "...";
  };
  if (!change.after) return name + " is gone, was " + cut(*change.before);
  return name + "=" + cut(*change.after) +
         (change.before ? ", was " + cut(*change.before) : " is new");
}

void printTrafficChanges(std::ostream &out, const TrafficChanges &changes, const DeskRouter &after,
                         bool coloured) {
  const auto paint = [&](const char *colour, const std::string &text) {
    out << (coloured ? colour : "") << visible(text) << (coloured ? kPlain : "") << "\n";
  };
  if (changes.none()) {
    paint(kHeading, "the same traffic");
    return;
  }
  const Ends ends(after);
  const uint64_t ordinary_mac = macOfNoRule(after.router);
  paint(kHeading, "traffic");
  const std::vector<const TrafficChange *> told = toldChanges(changes);
  for (const TrafficChange *one : told) {
    const TrafficChange &each = *one;
    const Words words = wordsOf(each.was_passed, each.passes);
    const std::string text = changeText(each, ends);
    paint(words.colour, text);
    if (!each.depends.empty()) out << "    depending on " << listed(each.depends, "; ") << "\n";
    out << "    such as " << sentText(each.witness, ordinary_mac) << "\n";
    std::vector<std::string> causes;
    for (const SettingChange &cause : each.causes) causes.push_back(settingChangeText(cause));
    if (!causes.empty()) out << "    since " << forReader(listed(causes, ", and ")) << "\n";
  }
  if (told.size() != changes.changes.size()) {
    out << "  with them change packets of other kinds; --json has one of each\n";
  }
  if (changes.more != 0) out << "  and " << changes.more << " more kinds of it\n";
  for (const std::string &each : changes.not_compared) {
    out << "  not compared: " << each << "\n";
  }
}

nlohmann::ordered_json trafficChangesAsJson(const TrafficChanges &changes,
                                            const DeskRouter &after) {
  const Ends ends(after);
  nlohmann::ordered_json json = {{"same", changes.none()},
                                 {"changes", nlohmann::ordered_json::array()},
                                 {"more", changes.more},
                                 {"not_compared", changes.not_compared}};
  for (const TrafficChange &each : changes.changes) {
    nlohmann::ordered_json one = {{"packets", packetsName(each.packets)},
                                  {"from", each.from},
                                  {"what", nlohmann::ordered_json::array()}};
    for (const Slice &slice : each.slices) {
      one["what"].push_back({{"packets", protocolsText(slice) + othersText(slice)},
                             {"source", endText(slice, packets::kSource, ends)},
                             {"destination", endText(slice, packets::kDestination, ends)},
                             {"all", slice.whole}});
    }
    for (const auto &[name, passes, fate] :
         {std::tuple{"before", each.was_passed, &each.was}, {"after", each.passes, &each.is}}) {
      one[name] = {{"passes", passesName(passes)}, {"fate", fateText(*fate)}};
    }
    one["depends"] = each.depends;
    one["witness"] = packetAsJson(each.witness, after.router.network());
    one["causes"] = nlohmann::ordered_json::array();
    for (const SettingChange &cause : each.causes) {
      nlohmann::ordered_json made = {{"space", cause.space}, {"key", cause.key}};
      if (cause.record != 0) made["record"] = cause.record;
      if (cause.before) made["before"] = *cause.before;
      if (cause.after) made["after"] = *cause.after;
      one["causes"].push_back(std::move(made));
    }
    json["changes"].push_back(std::move(one));
  }
  return json;
}

}  // namespace orba::tool
