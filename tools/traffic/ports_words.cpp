// The lines of `orba ports`.
#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>

#include "tools/text/lines.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/ports.h"
#include "tools/traffic/question.h"

namespace orba::tool {

namespace {

using namespace packets;
using Json = nlohmann::ordered_json;

constexpr char kRed[] = "\033[1;31m", kPlain[] = "\033[m";
// Of longer lists the rest is counted.
constexpr size_t kMostListed = 12;
// The columns of what is open, and from and to whom.
constexpr size_t kWhatWidth = 28, kWhoWidth = 31;

// As much of a set as a person reads.
std::string shortened(const IntervalSet &set, std::string (*text)(const IntervalSet &)) {
  if (set.intervals().size() <= kMostListed) return text(set);
  IntervalSet first;
  for (size_t i = 0; i < kMostListed; i++) first.add(set.intervals()[i]);
  return text(first) + " and " + std::to_string(set.intervals().size() - kMostListed) + " more";
}

std::string protocolNamesText(const IntervalSet &protocols) {
  std::string text;
  uint64_t named = 0;
  for (const Interval &each : protocols.intervals()) {
    for (uint64_t one = each.first; one <= each.last; one++) {
      if (++named > kMostListed) {
        return std::string(protocols.contains(kIcmp) ? "icmp, " : "") + "other protocols";
      }
      text += (text.empty() ? "" : ", ") + protocolName(one);
    }
  }
  return text;
}

std::string whatText(const Opening &opening) {
  return protocolNamesText(opening.protocols) +
         (opening.ports.empty() ? "" : " " + shortened(opening.ports, portsText));
}

std::string fromText(const IntervalSet &sources, bool anyone) {
  return "from " + (anyone ? "anywhere" : shortened(sources, addressesText));
}

std::string whoText(const Opening &opening) {
  std::string text = fromText(opening.sources, opening.from_anyone);
  if (!opening.all_hosts) text += " to " + shortened(opening.hosts, addressesText);
  if (opening.port) text += " port " + std::to_string(*opening.port);
  return text;
}

std::string headingOf(const Opening &opening, const DeskRouter &desk) {
  const std::string side = desk.side(opening.from)->words + " (" + opening.from + ")";
  const std::string text = opening.neighbours
                               ? "Besides, from a neighbour on the wire of " + opening.from
                               : "From " + side;
  if (opening.to.empty()) {
    return text + " to a program, and what that does with it is not known";
  }
  return text + (opening.to == kRouter ? " to the router" : " through the router to " + opening.to);
}

std::string leakText(const Leak &leak, const DeskRouter &desk) {
  const bool bridged = !desk.router.network().find(desk.side(leak.from)->interface)->bridge.empty();
  std::string ports;
  for (const std::string &port : leak.ports) ports += (ports.empty() ? " " : ", ") + port;
  return leak.mode + " says \"" + leak.promise + "\", but " + leak.from +
         (bridged ? ", a port of the LAN's bridge, reaches " : " reaches ") + leak.service + ": " +
         protocolName(leak.protocol) + ports + " " + fromText(leak.sources, leak.from_anyone) +
         ", by " + leak.by;
}

Json intervalsAsJson(const IntervalSet &set, std::string (*text)(const IntervalSet &)) {
  Json made = Json::array();
  for (const Interval &each : set.intervals()) {
    made.push_back(text(IntervalSet::range(each.first, each.last)));
  }
  return made;
}

Json originsAsJson(const std::vector<Origin> &origins) {
  Json made = Json::array();
  for (const Origin &each : origins) {
    made.push_back({{"space", each.space}, {"key", each.key}, {"record", each.record}});
  }
  return made;
}

// What stops others of every line below the heading of the first.
std::string ofAll(std::vector<Opening>::const_iterator first,
                  std::vector<Opening>::const_iterator end, const DeskRouter &desk) {
  const std::string heading = headingOf(*first, desk);
  for (auto each = first; each != end && headingOf(*each, desk) == heading; ++each) {
    if (each->but != first->but) return "";
  }
  return first->but;
}

void printOpening(std::ostream &out, const Opening &opening, const std::string &known) {
  const std::string what = whatText(opening), who = whoText(opening);
  out << "  " << std::left << std::setw(static_cast<int>(kWhatWidth)) << what;
  // What is too long for its column leaves the others where they are.
  if (what.size() > kWhatWidth) out << "\n  " << std::string(kWhatWidth, ' ');
  out << "  " << std::setw(static_cast<int>(kWhoWidth)) << who << "  by " << visible(opening.by)
      << "\n";
  if (opening.but != known) {
    out << "      but for what is stopped by " << visible(opening.but) << "\n";
  }
  for (const std::string &question : opening.depends) {
    out << "      depends on " << visible(question) << "\n";
  }
}

}  // namespace

void printPorts(std::ostream &out, const Ports &ports, const DeskRouter &desk, bool witnesses,
                bool colour) {
  const uint64_t ordinary_mac = macOfNoRule(desk.router);
  std::string heading, but;
  for (auto each = ports.openings.begin(); each != ports.openings.end(); ++each) {
    if (headingOf(*each, desk) != heading) {
      out << (heading.empty() ? "" : "\n");
      heading = headingOf(*each, desk);
      but = ofAll(each, ports.openings.end(), desk);
      out << heading << (but.empty() ? "" : ", but for what is stopped by " + visible(but))
          << ":\n";
    }
    printOpening(out, *each, but);
    if (witnesses) out << "      such as " << sentText(each->witness, ordinary_mac) << "\n";
  }
  for (const Refusal &refusal : desk.router.refusals()) {
    if (!refusal.missing) continue;
    out << "\nnot in force: " << visible(refusal.words) << ": " << visible(refusal.why) << "\n";
  }
  for (const Leak &leak : ports.leaks) {
    out << "\n"
        << (colour ? kRed : "") << visible(leakText(leak, desk)) << (colour ? kPlain : "") << "\n";
    if (witnesses) out << "      such as " << sentText(leak.witness, ordinary_mac) << "\n";
  }
}

Json portsAsJson(const Ports &ports, const DeskRouter &desk) {
  const Network &network = desk.router.network();
  Json openings = Json::array(), leaks = Json::array(), missing = Json::array();
  for (const Opening &each : ports.openings) {
    openings.push_back(
        {{"from", each.from},
         {"neighbours", each.neighbours},
         {"to", each.to.empty() ? Json(nullptr) : Json(each.to)},
         {"protocols", protocolNamesText(each.protocols)},
         {"ports", intervalsAsJson(each.ports, portsText)},
         {"sources", intervalsAsJson(each.sources, addressesText)},
         {"hosts", intervalsAsJson(each.hosts, addressesText)},
         {"words",
          {{"heading", headingOf(each, desk)}, {"what", whatText(each)}, {"who", whoText(each)}}},
         {"translated", each.translated},
         {"port", each.port ? Json(*each.port) : Json(nullptr)},
         {"by", each.by},
         {"by_origins", originsAsJson(each.by_origins)},
         {"but", each.but},
         {"but_origins", originsAsJson(each.but_origins)},
         {"depends", each.depends},
         {"witness", packetAsJson(each.witness, network)}});
  }
  for (const Leak &each : ports.leaks) {
    leaks.push_back({{"from", each.from},
                     {"service", each.service},
                     {"mode", each.mode},
                     {"promise", each.promise},
                     {"protocol", protocolName(each.protocol)},
                     {"ports", each.ports},
                     {"sources", intervalsAsJson(each.sources, addressesText)},
                     {"by", each.by},
                     {"by_origins", originsAsJson(each.by_origins)},
                     {"words", leakText(each, desk)},
                     {"witness", packetAsJson(each.witness, network)}});
  }
  for (const Refusal &each : desk.router.refusals()) {
    if (each.missing) missing.push_back({{"command", each.words}, {"why", each.why}});
  }
  return {{"openings", openings}, {"leaks", leaks}, {"missing", missing}};
}

}  // namespace orba::tool
