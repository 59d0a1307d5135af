#include <strings.h>

#include <algorithm>
#include <optional>

#include "packets/form_reader.h"

namespace packets {

namespace {

// Six bytes of one or two digits; what stands behind the last one's second digit is not read.
bool readFrameMac(const std::string &text, uint64_t &mac) {
  size_t colons = 0, at = 0;
  while (colons < 5 && at < text.size()) colons += text[at++] == ':' ? 1u : 0u;
  return readMac(text.substr(0, at + 2), mac);
}

// "MAC[/MASK]", or a name for some of them.
bool readMaskedMac(const std::string &text, uint64_t &mac, uint64_t &mask) {
  static const struct {
    const char *name;
    uint64_t mac, mask;
  } kNamed[] = {{"unicast", 0, 0x010000000000},
                {"multicast", 0x010000000000, 0x010000000000},
                {"broadcast", 0xffffffffffff, 0xffffffffffff},
                {"bga", 0x0180c2000000, 0xffffffffffff}};
  for (const auto &named : kNamed) {
    if (strcasecmp(text.c_str(), named.name) != 0) continue;
    mac = named.mac;
    mask = named.mask;
    return true;
  }
  mask = 0xffffffffffff;
  const size_t slash = text.find('/');
  return readFrameMac(text.substr(0, slash), mac) &&
         (slash == std::string::npos || readFrameMac(text.substr(slash + 1), mask));
}

class EbtablesReader : FormReader {
 public:
  using FormReader::FormReader;

  Refused read() {
    for (std::string option = nextOption(); !option.empty(); option = nextOption()) {
      auto known = std::find_if(kOptions.begin(), kOptions.end(),
                                [&](const Option &each) { return option == each.name; });
      if (known == kOptions.end()) return "'" + option + "' is not known";
      std::string text;
      if (Refused why = value(text)) return why;
      if (Refused why = (this->*known->take)(option, text)) return why;
    }
    return std::nullopt;
  }

 private:
  struct Option {
    const char *name;
    Refused (EbtablesReader::*take)(const std::string &option, const std::string &text);
  };
  static const std::vector<Option> kOptions;

  Refused mac(const std::string &option, const std::string &text) {
    uint64_t number = 0, mask = 0;
    if (!readMaskedMac(text, number, mask)) return "'" + text + "' is no MAC address";
    const FieldId field = option == "-d" || option == "--dst" ? kDestinationMac : kSourceMac;
    IntervalSet values;
    if (maskedValues(number, mask, 48, 4096, values)) {
      add(field, values);
    } else {
      ask((negated_ ? "! " : "") + option + " " + text);
    }
    return std::nullopt;
  }

  Refused etherType(const std::string &, const std::string &text) {
    uint64_t type = 0x0800;
    if (text != "ipv4" && text != "IPv4") {
      if (text.compare(0, 2, "0x") != 0) return "'" + text + "' is no Ethernet protocol";
      if (Refused why = readNumber(text, 0xffff, type)) return why;
    }
    ipv4_ = type == 0x0800 && !negated_;
    add(kEtherType, IntervalSet::one(type));
    return std::nullopt;
  }

  Refused port(const std::string &option, const std::string &text) {
    if (text.size() > 15) return text + " is too long for an interface";
    add(option == "-i" ? kBridgePort : kBridgePortOut, interfacesNamed(text, context_.network));
    return std::nullopt;
  }

  Refused address(const std::string &option, const std::string &text) {
    if (!ipv4_) return option + " without -p ipv4";
    if (text.find(',') != std::string::npos) return "'" + text + "' is no address";
    return addAddresses(option == "--ip-src" ? kSource : kDestination, option, text);
  }

  Refused ipProtocol(const std::string &option, const std::string &text) {
    if (!ipv4_) return option + " without -p ipv4";
    bool all;
    uint64_t number;
    if (Refused why = readProtocol(text, number, all)) return why;
    if (!negated_) protocol_ = number;
    add(kProtocol, IntervalSet::one(number));
    return std::nullopt;
  }

  Refused ipPort(const std::string &option, const std::string &text) {
    if (protocol_ != kTcp && protocol_ != kUdp) return option + " without --ip-proto tcp or udp";
    IntervalSet values;
    if (Refused why = readRange(text, 65535, values)) return why;
    add(option == "--ip-sport" ? kSourcePort : kDestinationPort, values);
    return std::nullopt;
  }

  Refused target(const std::string &, const std::string &text) {
    static const std::map<std::string, Target::Kind> kTargets = {{"ACCEPT", Target::kAccept},
                                                                 {"DROP", Target::kDrop},
                                                                 {"RETURN", Target::kReturn},
                                                                 {"CONTINUE", Target::kGoOn},
                                                                 {"mark", Target::kMark}};
    rule_.target.chain = text;
    auto found = kTargets.find(text);
    if (context_.has_chain(text)) {
      rule_.target.kind = Target::kJump;
    } else if (found != kTargets.end()) {
      rule_.target.kind = found->second;
    } else {
      return "there is no chain and no target '" + text + "'";
    }
    return std::nullopt;
  }

  Refused markOr(const std::string &, const std::string &text) {
    uint64_t mark;
    if (Refused why = readNumber(text, 0xffffffff, mark)) return why;
    rule_.target.mark = static_cast<uint32_t>(mark);
    return std::nullopt;
  }

  Refused markTarget(const std::string &, const std::string &text) {
    if (text != "CONTINUE") return "--mark-target " + text + " is not known";
    return std::nullopt;
  }

  bool ipv4_ = false;
  std::optional<uint64_t> protocol_;
};

const std::vector<EbtablesReader::Option> EbtablesReader::kOptions = {
    {"-s", &EbtablesReader::mac},
    {"--src", &EbtablesReader::mac},
    {"-d", &EbtablesReader::mac},
    {"--dst", &EbtablesReader::mac},
    {"-p", &EbtablesReader::etherType},
    {"-i", &EbtablesReader::port},
    {"-o", &EbtablesReader::port},
    {"--ip-src", &EbtablesReader::address},
    {"--ip-dst", &EbtablesReader::address},
    {"--ip-proto", &EbtablesReader::ipProtocol},
    {"--ip-sport", &EbtablesReader::ipPort},
    {"--ip-dport", &EbtablesReader::ipPort},
    {"-j", &EbtablesReader::target},
    {"--mark-or", &EbtablesReader::markOr},
    {"--mark-target", &EbtablesReader::markTarget},
};

}  // namespace

Refused readEbtablesRule(const std::vector<std::string> &words, const FormContext &context,
                         Rule &rule) {
  return EbtablesReader(words, context, rule).read();
}

}  // namespace packets
