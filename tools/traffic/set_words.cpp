#include "tools/traffic/set_words.h"

#include <algorithm>

#include "tools/traffic/packet_words.h"

namespace orba::tool {

namespace {

using namespace packets;

constexpr uint64_t kAnyAddress = 0xffffffff, kAnyPort = 65535, kAnyProtocol = 255;
// More intervals than these are told by how many there are.
constexpr size_t kMostIntervals = 8;

IntervalSet joined(const IntervalSet &one, const IntervalSet &other) {
  IntervalSet all = one;
  for (const Interval &each : other.intervals()) all.add(each);
  return all;
}

IntervalSet minus(const IntervalSet &set, const IntervalSet &other) {
  return set.intersection(other.complement(UINT64_MAX - 1));
}

bool contains(const IntervalSet &set, const IntervalSet &other) {
  return minus(other, set).empty();
}

void addWords(std::string &text, const std::string &words, const char *between = " and ") {
  if (!words.empty()) text += (text.empty() ? "" : between) + words;
}

// Some values of `all` in the words that a person would take: those that are in it, or those that
// are not.
std::string valuesText(const IntervalSet &values, const IntervalSet &all, const std::string &name,
                       std::string (*words)(const IntervalSet &)) {
  const IntervalSet others = minus(all, values);
  if (others.empty()) return name;
  const size_t count = values.intervals().size();
  if (others.intervals().size() < count && others.intervals().size() <= kMostIntervals) {
    return name + " but " + words(others);
  }
  if (count <= kMostIntervals) return words(values);
  IntervalSet first;
  for (size_t i = 0; i + 1 < kMostIntervals; i++) first.add(values.intervals()[i]);
  return words(first) + " and " + std::to_string(count + 1 - kMostIntervals) + " more";
}

std::string protocolNames(const IntervalSet &protocols) {
  IntervalSet named, all = IntervalSet::range(0, kAnyProtocol);
  std::string text;
  for (const auto &[number, name] : {std::pair{kTcp, "tcp"}, {kUdp, "udp"}, {kIcmp, "ping"}}) {
    named.add({number, number});
    if (protocols.contains(number)) addWords(text, name, ", ");
  }
  if (protocols == all) return "everything";
  const IntervalSet others = minus(protocols, named);
  if (!others.empty()) {
    const std::string words = valuesText(others, minus(all, named), "other protocols", portsText);
    addWords(text, isdigit(words[0]) ? "protocols " + words : words, ", ");
  }
  return text;
}

using Fields = std::map<FieldId, IntervalSet>;

const IntervalSet *valuesOf(const Fields &fields, FieldId field) {
  const auto found = fields.find(field);
  return found == fields.end() ? nullptr : &found->second;
}

// Joins two boxes that differ in one field only.
bool join(Fields &one, const Fields &other) {
  std::vector<FieldId> differ;
  for (const Fields *each : {static_cast<const Fields *>(&one), &other}) {
    for (const auto &[field, values] : *each) {
      const IntervalSet *first = valuesOf(one, field), *second = valuesOf(other, field);
      const bool same = first != nullptr && second != nullptr && *first == *second;
      if (!same && (differ.empty() || differ[0] != field)) differ.push_back(field);
    }
  }
  if (differ.size() > 1) return false;
  if (differ.empty()) return true;
  const IntervalSet *first = valuesOf(one, differ[0]), *second = valuesOf(other, differ[0]);
  if (first == nullptr || second == nullptr) {
    one.erase(differ[0]);
    return true;
  }
  one[differ[0]] = joined(*first, *second);
  if (one[differ[0]].complement(largestOf(differ[0])).empty()) one.erase(differ[0]);
  return true;
}

void joinAll(std::vector<Fields> &boxes) {
  for (bool joining = true; joining;) {
    joining = false;
    for (size_t i = 0; i < boxes.size(); i++) {
      for (size_t k = i + 1; k < boxes.size();) {
        if (join(boxes[i], boxes[k])) {
          boxes.erase(boxes.begin() + static_cast<long>(k));
          joining = true;
        } else {
          k++;
        }
      }
    }
  }
}

// What holds all boxes.
void widen(Fields &around, const Fields &box) {
  std::erase_if(around, [&](const auto &each) { return box.count(each.first) == 0; });
  for (auto &[field, values] : around) values = joined(values, box.at(field));
  std::erase_if(around, [](const auto &each) {
    return each.second.complement(largestOf(each.first)).empty();
  });
}

}  // namespace

void widen(Slice &around, const Slice &other) {
  around.protocols = joined(around.protocols, other.protocols);
  widen(around.fields, other.fields);
  around.whole = false;
}

Ends::Ends(const DeskRouter &desk) {
  IntervalSet nobody = IntervalSet::range(0, 0x00ffffff);  // 0.0.0.0/8
  nobody.add({0x7f000000, 0x7fffffff});
  nobody.add({0xe0000000, kAnyAddress});
  for (const packets::Interface &each : desk.router.network().interfaces) {
    for (const Address &address : each.addresses) {
      if (address.address >> 24 == 127) continue;
      router.add({address.address, address.address});
      const uint64_t rest = 0xffffffffull >> address.prefix;
      const uint64_t first = address.address & ~rest;
      if (rest < 3) continue;
      nobody.add({first, first});
      nobody.add({first + rest, first + rest});
    }
  }
  for (const Side &each : desk.sides) {
    if (!isWan(each.name)) lan = joined(lan, desk.networksOf(each));
  }
  lan = minus(minus(lan, nobody), router);
  hosts = nobody.complement(kAnyAddress);
  internet = minus(minus(hosts, router), lan);
}

std::string endsText(const IntervalSet &addresses, const Ends &ends) {
  if (contains(addresses, ends.hosts)) return "anyone";
  std::string text;
  const auto add = [&](const IntervalSet &theirs, const char *name) {
    const IntervalSet some = addresses.intersection(theirs);
    if (!some.empty()) addWords(text, valuesText(some, theirs, name, addressesText));
  };
  const IntervalSet own = addresses.intersection(ends.router);
  if (!own.empty()) {
    const bool all = contains(own, ends.router);
    addWords(text, all ? "the router" : "the router's " + addressesText(own));
  }
  add(ends.lan, "the LAN");
  add(ends.internet, "the Internet");
  const IntervalSet others = minus(addresses, ends.hosts);
  if (!others.empty()) addWords(text, "everybody");
  return text;
}

std::vector<Slice> slicesOf(Diagrams &diagrams, Diagrams::Node set, Diagrams::Node universe,
                            size_t most) {
  std::map<Diagrams::Node, IntervalSet> by_rest;
  for (uint64_t protocol = 0; protocol <= kAnyProtocol; protocol++) {
    by_rest[diagrams.with(set, {{kProtocol, protocol}})].add({protocol, protocol});
  }
  // What all packets of a protocol have alike does not tell protocols apart.
  std::map<Diagrams::Node, IntervalSet> groups;
  for (const auto &[rest, protocols] : by_rest) {
    if (rest == Diagrams::kNone) continue;
    Diagrams::Node node = rest;
    std::vector<FieldId> constant = {kBridgePort, kEtherType, kState,         kMark,
                                     kTcpFlags,   kIcmpType,  kDestinationMac};
    if (!protocols.contains(kTcp) && !protocols.contains(kUdp)) {
      constant.insert(constant.end(), {kSourcePort, kDestinationPort});
    }
    for (FieldId field : constant) node = diagrams.forSome(node, field);
    IntervalSet &group = groups[node];
    group = joined(group, protocols);
  }
  std::vector<Slice> slices;
  for (const auto &[node, protocols] : groups) {
    std::vector<Fields> boxes;
    Fields around;
    diagrams.boxes(node, [&](const Conditions &box) {
      Fields fields;
      for (const Condition &each : box) fields[each.field] = each.values;
      if (boxes.empty()) {
        around = fields;
      } else {
        widen(around, fields);
      }
      boxes.push_back(std::move(fields));
      if (boxes.size() % 64 == 0) joinAll(boxes);
    });
    joinAll(boxes);
    if (boxes.size() > most) boxes = {around};
    for (const Fields &fields : boxes) {
      Slice slice = {protocols, fields};
      Conditions conditions = {{kProtocol, protocols}};
      for (const auto &[field, values] : fields) conditions.push_back({field, values});
      slice.whole = diagrams.without(diagrams.both(diagrams.set(conditions), universe), set) ==
                    Diagrams::kNone;
      slices.push_back(std::move(slice));
    }
  }
  return slices;
}

std::string protocolsText(const Slice &slice) {
  std::string text = protocolNames(slice.protocols);
  const IntervalSet all = IntervalSet::range(0, kAnyPort);
  if (const IntervalSet *ports = valuesOf(slice.fields, kDestinationPort)) {
    text += " " + valuesText(*ports, all, "all ports", portsText);
  }
  return text;
}

std::string othersText(const Slice &slice) {
  std::string text;
  const IntervalSet all = IntervalSet::range(0, kAnyPort);
  if (const IntervalSet *ports = valuesOf(slice.fields, kSourcePort)) {
    text += " from port " + valuesText(*ports, all, "all", portsText);
  }
  if (const IntervalSet *lengths = valuesOf(slice.fields, kLength)) {
    text += " of " + valuesText(*lengths, all, "all", portsText) + " bytes";
  }
  if (const IntervalSet *macs = valuesOf(slice.fields, kSourceMac)) {
    const IntervalSet any = IntervalSet::range(0, largestOf(kSourceMac));
    text += " with MAC " + valuesText(*macs, any, "any", [](const IntervalSet &some) {
              std::string list;
              for (const Interval &each : some.intervals()) {
                addWords(
                    list,
                    macText(each.first) + (each.first == each.last ? "" : "-" + macText(each.last)),
                    ", ");
              }
              return list;
            });
  }
  if (const IntervalSet *sizes = valuesOf(slice.fields, kSegmentSize)) {
    text += " with segments of " + valuesText(*sizes, all, "all", portsText);
  }
  return text;
}

}  // namespace orba::tool
