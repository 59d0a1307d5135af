#include "net/driver_socket.h"

#include <sys/socket.h>

namespace orba {

int openDriverSocket() {
  constexpr int kFamilies[] = {AF_INET, AF_IPX, AF_AX25, AF_APPLETALK};
  for (int family : kFamilies) {
    int fd = socket(family, SOCK_DGRAM, 0);
    if (fd >= 0) return fd;
  }
  return -1;
}

}  // namespace orba
