// The switch port that leads to the WAN's gateway.
#include "orba_util.h"
#include "switch/gateway_mac.h"
#include "switch/mac_table.h"

namespace orba {

namespace {

constexpr GatewayLookup kByPing = {
    "ping -c 1 %s",
    "arp -an | grep %s",
};

// The end flag of the table's last entry, given out as it is: callers take any
// answer above 4 as unknown.
constexpr int kCancelled = 0x4000;

}  // namespace

}  // namespace orba

int checkWanPortNumber(void) {
  orba::GatewayMac mac;
  if (!orba::lookUpGateway(orba::kByPing, mac)) return 0;
  orba::MacSearch search = orba::searchMacTable(mac.text());
  if (search.end == orba::MacSearch::kCancelled) return orba::kCancelled;
  if (search.end == orba::MacSearch::kExhausted) return 0;
  debug("WAN Port is %d\n", search.port);
  return search.port;
}
