// The gateway of a WAN, and the kernel's default gateway.
#include <cstdio>

#include "core/file.h"
#include "net/address.h"
#include "net/interface_name.h"
#include "net/route_file.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kNoAddress[] = "0.0.0.0";
constexpr size_t kAddressSize = 16;

// The number of the WAN that sends through `ifname`, 0 when none does.
int wanOf(const char *ifname) {
  for (int wan = 1; wan <= kWans; wan++) {
    InterfaceName name;
    wanInterface(wan, name);
    if (name.is(ifname)) return wan;
  }
  return 0;
}

// What the WAN scripts noted when the connection came up: "GATEWAY:..." in the
// first line. An apostrophe ends the address too. Whoever wrote the file, what
// is no address is not passed on to commands.
bool readNotedGateway(int wan, Text<kAddressSize> &gateway) {
  Text<32> path;
  File info(openOurs(path.format("/var/wan%d.info", wan).text()));
  char line[128];
  if (!info || !info.readLine(line) || strchr(line, ':') == nullptr) return false;
  gateway.append(line, strcspn(line, "':"));
  return gateway.empty() || (gateway.fits() && isAddress(gateway.text()));
}

// "" for a route that goes straight to its network.
void copyGateway(char *dst, const Route &route) {
  copyText(dst, kAddressSize, route.gateway != 0 ? DottedAddress(route.gateway).text() : "");
}

}  // namespace

}  // namespace orba

int getGatewayByInterface(const char *ifname, char *dst) {
  int wan = orba::wanOf(ifname);
  if (wan == 0) {
    fprintf(stderr, "%s: Can not get correct wanIndex\n", "getGatewayByInterface");
    return -1;
  }
  orba::Text<orba::kAddressSize> gateway;
  if (orba::wanSetting("wanConnectionMode", wan).is("STATIC")) {
    gateway.append(orba::wanSetting("wan_gateway", wan).text());
  } else if (!orba::readNotedGateway(wan, gateway)) {
    gateway.assign(orba::kNoAddress);
  }
  orba::copyText(dst, gateway.size(), gateway.text());
  return 0;
}

int getGateway(const char *ifname, char *dst) {
  char address[orba::kAddressSize];
  if (getIfIp(ifname, address) != 0 || orba::same(address, orba::kNoAddress)) return -1;
  if (getGatewayByInterface(ifname, dst) == -1) getWanDefaultGateway(dst);
  return *dst != '\0' ? 0 : -1;
}

int getWanGateway(char *dst) {
  orba::RouteFile routes;
  if (!routes) return -1;
  orba::Route route;
  while (routes.next(route)) {
    if (!route.up() || route.destination != 0) continue;
    orba::copyGateway(dst, route);
    return 0;
  }
  return routes.malformed() ? -1 : 0;
}

// Unlike getWanGateway this leaves the gateway of the last route looked at in
// `dst` when there is no default route.
int getWanDefaultGateway(char *dst) {
  if (dst == nullptr) {
    debug("defaultGtwy is NULL!");
    return -1;
  }
  orba::RouteFile routes;
  if (!routes) return -1;
  orba::Route route;
  while (routes.next(route)) {
    if (!route.up()) continue;
    orba::copyGateway(dst, route);
    if (route.destination == 0) return 0;
  }
  if (routes.malformed()) debug("Format error!");
  return 0;
}
