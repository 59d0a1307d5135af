#include <algorithm>
#include <optional>
#include <sstream>

#include "packets/form_reader.h"

namespace packets {

namespace {

constexpr uint64_t kAllFlags = kFin | kSyn | kReset | kPush | kAcknowledge | kUrgent;

// "SYN,RST"
Refused readFlags(const std::string &text, uint64_t &flags) {
  static const std::map<std::string, uint64_t> kNames = {
      {"FIN", kFin},         {"SYN", kSyn},    {"RST", kReset},    {"PSH", kPush},
      {"ACK", kAcknowledge}, {"URG", kUrgent}, {"ALL", kAllFlags}, {"NONE", 0}};
  flags = 0;
  std::istringstream names(text);
  for (std::string name; std::getline(names, name, ',');) {
    auto found = kNames.find(name);
    if (found == kNames.end()) return "'" + name + "' is no TCP flag";
    flags |= found->second;
  }
  return std::nullopt;
}

bool severalIn(const IntervalSet &values) {
  const std::vector<Interval> &intervals = values.intervals();
  return !intervals.empty() && intervals.front().first != intervals.back().last;
}

class IptablesReader : FormReader {
 public:
  using FormReader::FormReader;

  Refused read() {
    for (std::string option = nextOption(); !option.empty(); option = nextOption()) {
      auto known = std::find_if(kOptions.begin(), kOptions.end(),
                                [&](const Option &each) { return option == each.name; });
      if (known == kOptions.end()) {
        return option[0] == '-' ? option + " is not known" : "'" + option + "' is no option";
      }
      if (known->once && !seen_.insert(known->name).second) return option + " stands there twice";
      if (Refused why = (this->*known->take)(option)) return why;
    }
    if (rule_.target.kind == Target::kDnat && rule_.target.addresses.empty()) {
      return "DNAT has no --to";
    }
    // Among several the kernel chooses, and nobody knows how.
    const Target &target = rule_.target;
    if (severalIn(target.addresses) || severalIn(target.ports))
      rule_.target.kind = Target::kUnknown;
    return std::nullopt;
  }

 private:
  struct Option {
    const char *name;
    bool once;
    Refused (IptablesReader::*take)(const std::string &option);
  };
  static const std::vector<Option> kOptions;

  Refused protocol(const std::string &) {
    std::string text;
    if (Refused why = value(text)) return why;
    bool all;
    uint64_t number;
    if (Refused why = readProtocol(text, number, all)) return why;
    if (all) return negated_ ? Refused("no packet is of no protocol") : std::nullopt;
    if (!negated_) protocol_ = number;
    add(kProtocol, IntervalSet::one(number));
    return std::nullopt;
  }

  Refused address(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    return addAddresses(option == "-s" ? kSource : kDestination, option, text);
  }

  Refused interface(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    if (text.empty()) return "an interface is missing";
    if (text.size() > 15) return text + " is too long for an interface";
    add(option == "-i" ? kIn : kOut, interfacesNamed(text, context_.network));
    return std::nullopt;
  }

  Refused match(const std::string &) {
    std::string name;
    if (Refused why = value(name)) return why;
    for (const char *known : {"state", "tcp", "udp", "icmp", "iprange", "mac", "macrange", "length",
                              "limit", "tcpmss", "webstr"}) {
      if (name == known) return std::nullopt;
    }
    return "the match '" + name + "' is not known";
  }

  // The protocol that an option needs before it.
  Refused needs(uint64_t protocol, const std::string &option) {
    if (protocol_ == protocol) return std::nullopt;
    return option + " without -p " + protocolText(protocol);
  }

  Refused port(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    if (protocol_ != kTcp && protocol_ != kUdp) return option + " without -p tcp or udp";
    return range(option == "--sport" ? kSourcePort : kDestinationPort, text);
  }

  Refused range(FieldId field, const std::string &text) {
    IntervalSet values;
    if (Refused why = readRange(text, largestOf(field), values)) return why;
    add(field, values);
    return std::nullopt;
  }

  Refused flags(const std::string &option) {
    uint64_t mask = kSyn | kReset | kAcknowledge | kFin, wanted = kSyn;
    if (option == "--tcp-flags") {
      std::string text;
      if (Refused why = value(text)) return why;
      if (Refused why = readFlags(text, mask)) return why;
      if (next_ == words_.size()) return "--tcp-flags has one value of two";
      if (Refused why = readFlags(words_[next_++], wanted)) return why;
    }
    if (Refused why = needs(kTcp, option)) return why;
    IntervalSet values;
    for (uint64_t each = 0; each <= kAllFlags; each++) {
      if ((each & mask) == wanted) values.add({each, each});
    }
    add(kTcpFlags, values);
    return std::nullopt;
  }

  Refused icmpType(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    if (Refused why = needs(kIcmp, option)) return why;
    if (text == "echo-request") text = "8";
    uint64_t type;
    if (Refused why = readNumber(text, 255, type)) return why;
    add(kIcmpType, IntervalSet::one(type));
    return std::nullopt;
  }

  Refused state(const std::string &) {
    std::string text;
    if (Refused why = value(text)) return why;
    static const std::map<std::string, State> kNames = {
        {"NEW", kNew}, {"ESTABLISHED", kEstablished}, {"RELATED", kRelated}, {"INVALID", kInvalid}};
    IntervalSet states;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, ',');) {
      auto found = kNames.find(name);
      if (found == kNames.end()) return "'" + name + "' is no state";
      states.add({found->second, found->second});
    }
    add(kState, states);
    return std::nullopt;
  }

  Refused addressRange(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    IntervalSet values;
    if (Refused why = readAddressRange(text, values)) return why;
    add(option == "--src-range" ? kSource : kDestination, values);
    return std::nullopt;
  }

  Refused mac(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    uint64_t number;
    if (!readMac(text, number)) return "'" + text + "' is no MAC address";
    add(option == "--mac-source" ? kSourceMac : kDestinationMac, IntervalSet::one(number));
    return std::nullopt;
  }

  Refused macRange(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    IntervalSet values;
    if (Refused why = readMacRange(text, values)) return why;
    add(option == "--src-macrange" ? kSourceMac : kDestinationMac, values);
    return std::nullopt;
  }

  Refused length(const std::string &) {
    std::string text;
    if (Refused why = value(text)) return why;
    return range(kLength, text);
  }

  Refused segmentSize(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    if (Refused why = needs(kTcp, option)) return why;
    IntervalSet values;
    if (Refused why = readRange(text, largestOf(kSegmentSize), values)) return why;
    // Without the option nothing matches.
    add(kSegmentSize, values.intersection(IntervalSet::range(1, largestOf(kSegmentSize))));
    return std::nullopt;
  }

  // How many came lately, and what stands in the page, no model knows.
  Refused question(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    ask((negated_ ? "! " : "") + option + " " + text);
    return std::nullopt;
  }

  Refused target(const std::string &) {
    std::string name;
    if (Refused why = value(name)) return why;
    Target &target = rule_.target;
    target.chain = name;
    static const std::map<std::string, Target::Kind> kTargets = {
        {"ACCEPT", Target::kAccept}, {"DROP", Target::kDrop},
        {"RETURN", Target::kReturn}, {"LOG", Target::kGoOn},
        {"TCPMSS", Target::kGoOn},   {"REJECT", Target::kReject},
        {"DNAT", Target::kDnat},     {"MASQUERADE", Target::kMasquerade}};
    auto found = kTargets.find(name);
    if (context_.has_chain(name)) {
      target.kind = Target::kJump;
    } else if (found != kTargets.end()) {
      target.kind = found->second;
    } else {
      return "there is no chain and no target '" + name + "'";
    }
    return std::nullopt;
  }

  // ADDRESS[-ADDRESS][:PORT[-PORT]]
  Refused translation(const std::string &option) {
    std::string text;
    if (Refused why = value(text)) return why;
    if (rule_.target.kind != Target::kDnat) return option + " without -j DNAT";
    const size_t colon = text.find(':');
    const std::string range = text.substr(0, colon);
    const size_t dash = range.find('-');
    uint64_t first, last;
    // Nothing is filled up here, and no zero may stand in front, as it may where one is matched.
    if (!readAddress(range.substr(0, dash), first) ||
        !readAddress(dash == std::string::npos ? range : range.substr(dash + 1), last)) {
      return "'" + range + "' is no address to send on to";
    }
    if (first > last) return text + ": the first is above the last";
    rule_.target.addresses = IntervalSet::range(first, last);
    if (colon == std::string::npos) return std::nullopt;
    if (protocol_ != kTcp && protocol_ != kUdp) return "a port without -p tcp or udp";
    std::string ports = text.substr(colon + 1);
    std::replace(ports.begin(), ports.end(), '-', ':');
    return readRange(ports, 65535, rule_.target.ports);
  }

  Refused segmentTarget(const std::string &option) {
    if (option == "--set-mss") {
      std::string text;
      uint64_t size;
      if (Refused why = value(text)) return why;
      if (Refused why = readNumber(text, 65535, size)) return why;
      rule_.target.segment = static_cast<uint32_t>(size);
    } else {
      rule_.target.segment = Target::kPathSegment;
    }
    return needs(kTcp, option);
  }

  // What says how something is told, and not to whom what happens.
  Refused manner(const std::string &) {
    std::string text;
    return value(text);
  }

  std::optional<uint64_t> protocol_;
  std::set<std::string> seen_;
};

const std::vector<IptablesReader::Option> IptablesReader::kOptions = {
    {"-p", true, &IptablesReader::protocol},
    {"-s", true, &IptablesReader::address},
    {"-d", true, &IptablesReader::address},
    {"-i", true, &IptablesReader::interface},
    {"-o", true, &IptablesReader::interface},
    {"-m", false, &IptablesReader::match},
    {"-j", true, &IptablesReader::target},
    {"--sport", true, &IptablesReader::port},
    {"--dport", true, &IptablesReader::port},
    {"--syn", true, &IptablesReader::flags},
    {"--tcp-flags", true, &IptablesReader::flags},
    {"--icmp-type", true, &IptablesReader::icmpType},
    {"--state", true, &IptablesReader::state},
    {"--src-range", true, &IptablesReader::addressRange},
    {"--dst-range", true, &IptablesReader::addressRange},
    {"--mac-source", true, &IptablesReader::mac},
    {"--mac-destination", true, &IptablesReader::mac},
    {"--src-macrange", true, &IptablesReader::macRange},
    {"--dst-macrange", true, &IptablesReader::macRange},
    {"--length", true, &IptablesReader::length},
    {"--mss", true, &IptablesReader::segmentSize},
    {"--limit", true, &IptablesReader::question},
    {"--content", true, &IptablesReader::question},
    {"--url", true, &IptablesReader::question},
    {"--host", true, &IptablesReader::question},
    {"--to", true, &IptablesReader::translation},
    {"--to-destination", true, &IptablesReader::translation},
    {"--set-mss", true, &IptablesReader::segmentTarget},
    {"--clamp-mss-to-pmtu", true, &IptablesReader::segmentTarget},
    {"--reject-with", true, &IptablesReader::manner},
    {"--log-level", true, &IptablesReader::manner},
    {"--log-prefix", true, &IptablesReader::manner},
};

}  // namespace

Refused readIptablesRule(const std::vector<std::string> &words, const FormContext &context,
                         Rule &rule) {
  return IptablesReader(words, context, rule).read();
}

}  // namespace packets
