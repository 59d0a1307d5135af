// The device's own address in the settings of the 802.1X authenticator.
#include <cstdio>

#include "core/setting.h"
#include "orba_util.h"

int updateFlash8021x(int space) {
  orba::Setting mode = orba::setting("OperationMode");
  if (mode.missing() || orba::setting("RADIUS_Server", space).empty()) return 0;
  // The LAN of a wireless client is not authenticated.
  char first = *mode.text();
  if (first < '0' || first > '2') {
    printf("not op mode\n");
    return 0;
  }
  const char *lan = getLanIfName();
  char address[16];
  if (getIfIp(lan, address) != 0) return 0;
  nvram_bufset(space, "own_ip_addr", address);
  if (space == orba::kMainSpace) {
    nvram_bufset(space, "EAPifname", lan);
    nvram_bufset(space, "PreAuthifname", lan);
  }
  nvram_commit(space);
  return 0;
}
