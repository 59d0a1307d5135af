// The addresses of an interface, as the kernel knows them now.
#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstdio>

#include "core/file.h"
#include "net/interface_name.h"
#include "orba_util.h"

namespace orba {

namespace {

// Asks the kernel one question about an interface. A name that no interface can
// have is not asked about: cut, it could be another's.
bool askInterface(const char *ifname, unsigned long question, struct ifreq &answer) {
  if (strlen(ifname) >= sizeof answer.ifr_name) return false;
  Descriptor inquiry(socket(AF_INET, SOCK_DGRAM, 0));
  if (!inquiry) return false;
  memset(&answer, 0, sizeof answer);
  copyText(answer.ifr_name, sizeof answer.ifr_name, ifname);
  return ioctl(inquiry.get(), question, &answer) >= 0;
}

int copyAddress(const char *ifname, unsigned long question, char *dst) {
  struct ifreq answer;
  if (!askInterface(ifname, question, answer)) return -1;
  struct sockaddr_in address;
  memcpy(&address, &answer.ifr_addr, sizeof address);
  return inet_ntop(AF_INET, &address.sin_addr, dst, INET_ADDRSTRLEN) != nullptr ? 0 : -1;
}

// One answer for the web pages about the default WAN.
using NameOfWan = void(int wan, InterfaceName &name);
using AddressOfInterface = int(const char *ifname, char *dst);

int copyDefaultWanAddress(NameOfWan name_of, AddressOfInterface address_of, char *dst) {
  InterfaceName name;
  name_of(setting("default_wan").number(), name);
  if (address_of(name.text(), dst) == 0) return 1;
  *dst = '\0';
  return 0;
}

// The interface whose netmask is the default WAN's. Its connection mode is asked
// for by the text of `default_wan`, so that of "02" stands in wanConnectionMode02.
void netmaskInterface(int wan, InterfaceName &name) {
  wanDevice(wan, name);
  if (connectsByPpp(defaultWanSetting("wanConnectionMode"))) {
    name.clear().format("ppp%u", static_cast<unsigned int>(wan) - 1);
  }
}

}  // namespace

}  // namespace orba

int getIfIp(const char *ifname, char *dst) {
  return orba::copyAddress(ifname, SIOCGIFADDR, dst);
}

int getIfNetmask(const char *ifname, char *dst) {
  return orba::copyAddress(ifname, SIOCGIFNETMASK, dst);
}

int getIfMac(const char *ifname, char *dst) {
  struct ifreq answer;
  if (!orba::askInterface(ifname, SIOCGIFHWADDR, answer)) return -1;
  unsigned char mac[6];
  memcpy(mac, answer.ifr_hwaddr.sa_data, sizeof mac);
  sprintf(dst, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  return 0;
}

int getLanMac(char *dst) {
  if (getIfMac(getLanIfName(), dst) != 0) *dst = '\0';
  return 1;
}

// The hardware address is the Ethernet device's also when a PPP interface runs over it.
int getDefaultWanMac(char *dst) {
  return orba::copyDefaultWanAddress(orba::wanDevice, getIfMac, dst);
}

int getDefaultWanIp(char *dst) {
  return orba::copyDefaultWanAddress(orba::wanInterface, getIfIp, dst);
}

int getDefaultWanNetmask(char *dst) {
  return orba::copyDefaultWanAddress(orba::netmaskInterface, getIfNetmask, dst);
}
