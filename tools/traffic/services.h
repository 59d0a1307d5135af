// The router's own services: which setting says who may reach them, and where they listen.
#ifndef ORBA_TOOLS_TRAFFIC_SERVICES_H
#define ORBA_TOOLS_TRAFFIC_SERVICES_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/traffic/desk_router.h"

namespace orba::tool {

struct Service {
  const char *name;  // "the web pages"
  const char *mode;  // the setting of who may reach it
  uint64_t protocol;
  uint64_t port;  // that the mode's rules guard, whatever the server's port is; 0 for ICMP
  std::vector<const char *> server_ports;  // the settings of the ports where it listens
};

const std::vector<Service> &services();

// A mode that keeps the Internet from a service.
struct KeptIn {
  std::string text;     // "httpMode=0"
  const char *promise;  // "from the LAN only"
};

// Nothing when the service is for the Internet too.
std::optional<KeptIn> keptIn(const Service &service, const DeskRouter &desk);
// Every port that could be the service's, with the setting that says so; the one that is guarded
// comes first, with none.
std::vector<std::pair<uint64_t, std::string>> portsOf(const Service &service,
                                                      const DeskRouter &desk);

}  // namespace orba::tool

#endif
