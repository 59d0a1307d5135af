#include "tools/serve/questions.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "packets/values.h"
#include "tools/firewall/list.h"
#include "tools/firewall/picture.h"
#include "tools/firewall/rule_words.h"
#include "tools/text/json.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/services.h"
#include "tools/traffic/trace.h"
#include "tools/traffic/trace_report.h"

namespace orba::tool {

namespace {

// Of the addresses that the settings name.
constexpr size_t kMostOffered = 40;

// A host of the Internet that is there for examples.
constexpr char kSomebody[] = "198.51.100.1";

// "192.168.1.20" in "192.168.1.20,,0,0,any/0": dotted quads, as they stand in values.
std::vector<std::string> addressesIn(const std::string &value) {
  static constexpr char kOfAddresses[] = "0123456789.";
  std::vector<std::string> found;
  for (size_t at = 0; (at = value.find_first_of(kOfAddresses, at)) != std::string::npos;) {
    const size_t end = std::min(value.find_first_not_of(kOfAddresses, at), value.size());
    found.push_back(value.substr(at, end - at));
    at = end;
  }
  return found;
}

// The hosts that settings name, of those that a network of the router's could have.
Json hostsNamedIn(const std::vector<nvram::Setting> &settings, const packets::Network &network) {
  Json hosts = Json::array();
  std::set<uint64_t> known;
  for (const nvram::Setting &each : settings) {
    for (const std::string &text : addressesIn(each.value)) {
      uint64_t address;
      if (hosts.size() == kMostOffered || !packets::readAddress(text, address)) continue;
      const std::optional<packets::Route> route = network.route(address, 0);
      const bool host = route && route->kind == packets::Route::kUnicast && (address & 255) != 0;
      const bool masks = address >> 28 >= 0xe || address >> 24 == 0;
      if (!host || masks || !known.insert(address).second) continue;
      hosts.push_back({{"address", packets::addressText(address)},
                       {"interface", route->device},
                       {"key", each.key}});
    }
  }
  return hosts;
}

// The argument of the command line as the page's form has it: "SOURCE", "--source-port".
std::string fieldOf(std::string argument) {
  argument.erase(0, argument.find_first_not_of('-'));
  for (char &c : argument) c = c == '-' ? '_' : static_cast<char>(tolower(c));
  return argument;
}

Json wrong(const std::string &field, const std::string &why) {
  return {{"wrong", {{"field", field}, {"why", why}}}};
}

bool equal(const std::vector<nvram::Setting> &one, const std::vector<nvram::Setting> &other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](const nvram::Setting &a, const nvram::Setting &b) {
                      return a.space == b.space && a.key == b.key && a.value == b.value;
                    });
}

// Says each rule of a trace in words too, wherever it stands.
void addWords(Json &answer) {
  if (answer.is_object() && answer.contains("step") && answer.contains("text")) {
    answer["words"] = ruleInWords(answer["text"].get<std::string>());
  }
  if (!answer.is_structured()) return;
  for (Json &each : answer) addWords(each);
}

}  // namespace

class Questions::Router {
 public:
  Router(std::vector<nvram::Setting> of, const DeskDevice &device)
      : settings(std::move(of)),
        prepare([&device](sim::Device &made) { device.prepare(made); }),
        desk(deskRouter(settings, prepare)),
        blame(desk, prepare) {}

  const MadeFirewall &firewall() {
    if (!firewall_) firewall_.emplace(desk.runs, prepare);
    return *firewall_;
  }

  const std::vector<nvram::Setting> settings;
  const Prepare prepare;
  const DeskRouter desk;
  Blame blame;
  // Once they were asked for.
  std::optional<Difference> difference;
  std::string picture, list;

 private:
  std::optional<MadeFirewall> firewall_;
};

Questions::Questions(const DeskDevice &desk, const Draft &draft) : desk_(desk), draft_(draft) {}
Questions::~Questions() = default;

Questions::Router &Questions::router(Settings of) {
  auto &[kept, changed] = routers_;
  auto make = [&](std::unique_ptr<Router> &made, std::vector<nvram::Setting> settings) {
    if (made && equal(made->settings, settings)) return false;
    made = std::make_unique<Router>(std::move(settings), desk_);
    return true;
  };
  if (make(kept, draft_.kept())) changed.reset();  // which is compared with it
  if (of == Settings::kKept) return *kept;
  make(changed, draft_.changed());
  return *changed;
}

const Difference *Questions::difference(Settings of) {
  if (of == Settings::kKept) return nullptr;
  std::optional<Difference> &known = router(of).difference;
  if (!known) {
    const Recording &kept = router(Settings::kKept).firewall().run();
    known = differenceOf(kept, router(of).firewall().run());
  }
  return &*known;
}

Json Questions::offers(Settings of) {
  const Router &made = router(of);
  const DeskRouter &desk = made.desk;
  Json sides = Json::array(), services_there = Json::array();
  for (const Side &side : desk.sides) {
    const packets::Interface *own = desk.router.network().find(side.interface);
    if (!own->bridge.empty()) own = desk.router.network().find(own->bridge);
    sides.push_back({{"name", side.name},
                     {"words", side.words},
                     {"interface", own->name},
                     {"router", own->addresses.empty()
                                    ? Json(nullptr)
                                    : Json(packets::addressText(own->addresses[0].address))}});
  }
  for (const Service &service : services()) {
    for (const auto &[port, setting] : portsOf(service, desk)) {
      if (port == 0) continue;
      services_there.push_back(
          {{"name", service.name}, {"protocol", protocolName(service.protocol)}, {"port", port}});
    }
  }
  return {{"version", draft_.version()},
          {"changes", draft_.changes().size()},
          {"sides", sides},
          {"hosts", hostsNamedIn(made.settings, desk.router.network())},
          {"somebody", kSomebody},
          {"services", services_there}};
}

Json Questions::trace(Settings of, const PacketQuestion &question) try {
  Router &made = router(of);
  const std::vector<FollowedWay> ways = waysOf(packetOf(question, made.desk), made.desk);
  made.blame.askOf(commandsOf(ways, made.desk, made.blame));
  Json answer = traceAsJson(ways, made.desk, made.blame);
  addWords(answer);
  return answer;
} catch (const BadQuestion &error) {
  return wrong(fieldOf(error.argument), error.why);
}

Json Questions::ports(Settings of, const PortsQuestion &question) {
  Router &made = router(of);
  for (const auto &[field, side] : {std::pair("from", question.from), {"to", question.to}}) {
    const bool router = std::string(field) == "to" && side == kRouter;
    if (side.empty() || router || made.desk.side(side) != nullptr) continue;
    return wrong(field, "the router has no side '" + side + "'");
  }
  packets::Diagrams diagrams;
  SideWays ways(made.desk, diagrams);
  return portsAsJson(portsOf(ways, made.blame, question), made.desk);
}

const std::string &Questions::picture(Settings of) {
  Router &made = router(of);
  if (made.picture.empty()) made.picture = firewallPicture(made.firewall(), difference(of));
  return made.picture;
}

const std::string &Questions::list(Settings of) {
  Router &made = router(of);
  if (made.list.empty()) made.list = dumped(firewallAsJson(made.firewall(), difference(of)));
  return made.list;
}

}  // namespace orba::tool
