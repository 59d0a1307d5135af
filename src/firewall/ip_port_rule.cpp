#include "firewall/ip_port_rule.h"

#include "core/shell_word.h"

namespace orba {

namespace {

// Rules for the router's own traffic are never stateful. An action that is
// neither drop nor accept has no head.
void startRule(TextBuffer &rule, const FilterSettings &settings, int action) {
  if (settings.for_router) {
    rule.append("iptables -A macipport_input_filter ");
  } else if (action == kFilterDrop && settings.stateful) {
    rule.append("iptables -A macipport_filter -m state --state NEW,INVALID ");
  } else if (action == kFilterDrop || action == kFilterAccept) {
    rule.append("iptables -A macipport_filter ");
  }
}

// The end of a range means nothing without its beginning.
void matchMacs(TextBuffer &rule, const FilterSide &source, const FilterSide &destination) {
  ShellWord first(source.mac);
  if (*source.mac != '\0' && *source.mac_end != '\0') {
    rule.format("-m macrange --src-macrange %s-%s ", first.text(),
                ShellWordPart(source.mac_end).text());
  } else if (*source.mac != '\0') {
    rule.format("-m mac --mac-source %s ", first.text());
  }
  ShellWord second(destination.mac);
  if (*destination.mac != '\0' && *destination.mac_end != '\0') {
    rule.format("-m macrange --dst-macrange %s-%s ", second.text(),
                ShellWordPart(destination.mac_end).text());
  } else if (*destination.mac != '\0') {
    rule.format("-m mac --mac-destination %s ", second.text());
  }
}

void matchMask(TextBuffer &rule, const char *mask) {
  if (*mask != '\0') {
    rule.format("/%s ", ShellWordPart(mask).text());
  } else {
    rule.append(" ");
  }
}

void matchAddresses(TextBuffer &rule, const FilterSide &source, const FilterSide &destination) {
  if (*source.address != '\0') {
    rule.format("-s %s", ShellWord(source.address).text());
    matchMask(rule, source.mask);
  }
  if (*destination.address != '\0') {
    rule.format("-d %s", ShellWord(destination.address).text());
    matchMask(rule, destination.mask);
  }
}

void matchPorts(TextBuffer &rule, const FilterSide &source, const FilterSide &destination) {
  if (source.port != 0 && source.port_end != 0) {
    rule.format("--sport %d:%d ", source.port, source.port_end);
  } else if (source.port != 0) {
    rule.format("--sport %d ", source.port);
  }
  if (destination.port != 0 && destination.port_end != 0) {
    rule.format("--dport %d:%d ", destination.port, destination.port_end);
  } else if (destination.port != 0) {
    rule.format("--dport %d ", destination.port);
  }
}

// False, and nothing written, for a code that is no protocol.
bool matchProtocol(TextBuffer &rule, const FilterMatch &match) {
  switch (match.protocol) {
    case kFilterTcp:
      rule.append("-p tcp ");
      matchPorts(rule, match.source, match.destination);
      return true;
    case kFilterUdp:
      rule.append("-p udp ");
      matchPorts(rule, match.source, match.destination);
      return true;
    case kFilterIcmp:
      rule.append("-p icmp ");
      return true;
    case kFilterAny:
      rule.append(" ");
      return true;
    default:
      return false;
  }
}

const char *targetOf(int action) {
  switch (action) {
    case kFilterDrop:
      return "-j DROP";
    case kFilterAccept:
      return "-j ACCEPT";
    default:
      return "";
  }
}

const char *orEmpty(const char *text) {
  return text != nullptr ? text : "";
}

}  // namespace

void makeFilterRule(FilterRule &rule, const FilterSettings &settings, const FilterMatch &match,
                    int action) {
  startRule(rule.match, settings, action);
  matchMacs(rule.match, match.source, match.destination);
  matchAddresses(rule.match, match.source, match.destination);
  rule.target = matchProtocol(rule.match, match) ? targetOf(action) : "";
}

}  // namespace orba

void makeIPPortFilterRule(char *output, int size, const char *srcMac, const char *srcMacEnd,
                          const char *dstMac, const char *dstMacEnd, const char *srcIp,
                          const char *srcMask, int srcPort, int srcPortEnd, const char *dstIp,
                          const char *dstMask, int dstPort, int dstPortEnd, int protocol,
                          int action) {
  using orba::orEmpty;
  if (output == nullptr || size <= 0) return;
  orba::FilterMatch match = {
      {orEmpty(srcMac), orEmpty(srcMacEnd), orEmpty(srcIp), orEmpty(srcMask), srcPort, srcPortEnd},
      {orEmpty(dstMac), orEmpty(dstMacEnd), orEmpty(dstIp), orEmpty(dstMask), dstPort, dstPortEnd},
      protocol,
  };
  orba::FilterRule rule;
  orba::makeFilterRule(rule, orba::FilterSettings(), match, action);
  rule.match.append(rule.target);
  // A cut rule could let in what it was to keep out.
  bool whole = rule.match.fits() && rule.match.length() < static_cast<size_t>(size);
  orba::copyText(output, static_cast<size_t>(size), whole ? rule.match.text() : "");
}
