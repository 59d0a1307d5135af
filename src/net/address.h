// What is taken for an IPv4 address where anything could stand.
#ifndef ORBA_NET_ADDRESS_H
#define ORBA_NET_ADDRESS_H

#include <arpa/inet.h>

namespace orba {

// Four decimal numbers and nothing else: no name that somebody else resolves, no
// option of the program that gets it.
inline bool isAddress(const char *text) {
  struct in_addr address;
  return inet_pton(AF_INET, text, &address) == 1;
}

}  // namespace orba

#endif
