// What the page asks about packets, of the router that the settings make: what becomes of one,
// what gets through; and the firewall that decides about it, drawn and listed.
#ifndef ORBA_TOOLS_SERVE_QUESTIONS_H
#define ORBA_TOOLS_SERVE_QUESTIONS_H

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/device/desk_device.h"
#include "tools/play/difference.h"
#include "tools/serve/draft.h"
#include "tools/traffic/ports.h"
#include "tools/traffic/question.h"

namespace orba::tool {

using Json = nlohmann::ordered_json;

// Whose settings are asked about: those that are kept, or those with the changes made.
enum class Settings { kKept, kChanged };

class Questions {
 public:
  Questions(const DeskDevice &desk, const Draft &draft);
  ~Questions();

  // What a form can offer: sides, addresses that the settings name, ports of services.
  Json offers(Settings of);
  // The answer of `orba trace --json`, each rule in words too; or in "wrong" the field of the
  // question that cannot be asked, and why.
  Json trace(Settings of, const PacketQuestion &question);
  // The answer of `orba ports --json`.
  Json ports(Settings of, const PortsQuestion &question);
  // What the router's start makes of the packet filter. That of the changed settings is compared
  // with the one of those that are kept.
  const std::string &picture(Settings of);
  const std::string &list(Settings of);

 private:
  // Made anew when the settings are others: to find where rules come from takes many runs.
  class Router;
  Router &router(Settings of);
  // From those that are kept; null for these.
  const Difference *difference(Settings of);

  const DeskDevice &desk_;
  const Draft &draft_;
  std::unique_ptr<Router> routers_[2];
};

}  // namespace orba::tool

#endif
