#include "wireless/driver_oid.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

#include "core/file.h"
#include "core/text.h"

namespace orba {

// The kernel's block: 16 bytes of name, then pointer, length and flags side by
// side; only the pointer's width differs between machines.
static_assert(sizeof(iwreq::ifr_ifrn.ifrn_name) == 16);
static_assert(offsetof(iwreq, u.data.pointer) == 16);
static_assert(offsetof(iwreq, u.data.length) == 16 + sizeof(void *));
static_assert(offsetof(iwreq, u.data.flags) == 18 + sizeof(void *));

int wirelessRequest(int request, int socket, const char *ifname, void *buffer, int length,
                    int flags) {
  struct iwreq block = {};
  copyText(block.ifr_ifrn.ifrn_name, sizeof block.ifr_ifrn.ifrn_name, ifname);
  if (length < 0) length = 0;
  if (length > UINT16_MAX) length = UINT16_MAX;
  block.u.data.pointer = buffer;
  block.u.data.length = static_cast<uint16_t>(length);
  block.u.data.flags = static_cast<uint16_t>(flags);
  return ioctl(socket, static_cast<unsigned>(request), &block);
}

int wirelessRequest(int request, const char *ifname, void *buffer, int length, int flags) {
  Descriptor driver(socket(AF_INET, SOCK_DGRAM, 0));
  if (!driver) return -1;
  return wirelessRequest(request, driver.get(), ifname, buffer, length, flags);
}

}  // namespace orba

int OidQueryInformation(int oid, int socket, const char *ifname, void *buffer, int length) {
  return orba::wirelessRequest(orba::kOidRequest, socket, ifname, buffer, length, oid);
}

int OidSetInformation(int oid, int socket, const char *ifname, void *buffer, int length) {
  return orba::wirelessRequest(orba::kOidRequest, socket, ifname, buffer, length,
                               oid | orba::kOidSet);
}

int ApOidQueryInformation(int oid, int socket, const char *ifname, void *buffer, int length) {
  return OidQueryInformation(oid, socket, ifname, buffer, length);
}
