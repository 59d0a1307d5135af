#include <nlohmann/json.hpp>

#include "tools/traffic/packet_words.h"
#include "tools/traffic/trace_report.h"
#include "tools/traffic/verdict.h"

namespace orba::tool {

namespace {

using namespace packets;

using One = std::string (*)(uint64_t value, const Network &network);

std::string number(uint64_t value, const Network &) {
  return std::to_string(value);
}
std::string hexadecimal(uint64_t value, const Network &) {
  char text[19];
  snprintf(text, sizeof(text), "0x%04llx", static_cast<unsigned long long>(value));
  return text;
}
std::string address(uint64_t value, const Network &) {
  return addressText(value);
}
std::string mac(uint64_t value, const Network &) {
  return macText(value);
}
std::string protocol(uint64_t value, const Network &) {
  return protocolName(value);
}
std::string state(uint64_t value, const Network &) {
  return stateName(static_cast<State>(value));
}
std::string flags(uint64_t value, const Network &) {
  return value == 0 ? "none" : flagsText(value);
}
std::string interface(uint64_t value, const Network &network) {
  return value < network.interfaces.size() ? network.interfaces[value].name : "no interface";
}

// How a field is spoken of, and its values.
const struct {
  Field field;
  const char *is;
  One text;
  bool ranges;  // values that lie beside each other are told by the first and the last
} kFieldWords[] = {
    {kIn, "it comes in by", interface, false},
    {kBridgePort, "it comes in by the port", interface, false},
    {kEtherType, "its Ethernet type is", hexadecimal, true},
    {kState, "its state is", state, false},
    {kProtocol, "the protocol is", protocol, true},
    {kTcpFlags, "its flags are", flags, false},
    {kIcmpType, "its type is", number, true},
    {kDestination, "the destination is", address, true},
    {kDestinationPort, "the destination port is", number, true},
    {kSource, "the source is", address, true},
    {kSourcePort, "the source port is", number, true},
    {kLength, "its length is", number, true},
    {kSegmentSize, "its segment size is", number, true},
    {kSourceMac, "the sender's MAC address is", mac, true},
    {kDestinationMac, "the receiver's MAC address is", mac, true},
    {kMark, "its mark is", hexadecimal, true},
    {kOut, "it leaves by", interface, false},
    {kBridgePortOut, "it leaves by the port", interface, false},
};

// Sets of more values are not spelled out.
constexpr size_t kMostSpelled = 8;

// The values of a set, empty when they are too many to be told.
std::string valuesText(const IntervalSet &values, FieldId field, One text, bool ranges,
                       const Network &network) {
  if (field == kSource || field == kDestination) return addressesText(values);
  std::string all;
  size_t told = 0;
  for (const Interval &each : values.intervals()) {
    for (uint64_t value = each.first; value <= each.last; value++) {
      if (++told > kMostSpelled) return "";
      const bool range = ranges && each.last > each.first;
      all += (all.empty() ? "" : " or ") + text(value, network) +
             (range ? "-" + text(each.last, network) : "");
      if (range) break;
    }
  }
  return all;
}

}  // namespace

std::string whyNot(const Rule &rule, const Packet &packet, const DeskRouter &desk) {
  const Network &network = desk.router.network();
  for (const Condition &each : rule.conditions) {
    const uint64_t value = packet[each.field];
    if (each.values.contains(value)) continue;
    if (each.field >= kFields) {
      return isOpen(each.field, packet, desk) ? "it depends on " + questionText(each.field, desk)
                                              : "it carries no text to look at";
    }
    const auto &words = kFieldWords[each.field];
    std::string text = std::string(words.is) + " " + words.text(value, network);
    const IntervalSet others = each.values.complement(largestOf(each.field));
    // Of "!" what is shut out is told, else what is asked for.
    const bool negated = others.intervals().size() < each.values.intervals().size();
    if (each.values.empty()) {
      text += words.text == interface ? ", and the router has none that the rule names"
                                      : ", and no packet has what the rule asks for";
      return text;
    }
    if (negated && others.intervals() == std::vector<Interval>{{value, value}}) return text;
    const std::string told =
        valuesText(negated ? others : each.values, each.field, words.text, words.ranges, network);
    if (!told.empty()) text += (negated ? ", one of " : ", not ") + told;
    return text;
  }
  return "";
}

}  // namespace orba::tool
