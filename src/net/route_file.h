// The kernel's IPv4 routing table.
#ifndef ORBA_NET_ROUTE_FILE_H
#define ORBA_NET_ROUTE_FILE_H

#include <cstdint>

#include "core/file.h"
#include "core/text.h"

#pragma GCC visibility push(hidden)
namespace orba {

// One line of /proc/net/route. Addresses are in network order.
struct Route {
  const char *ifname;  // belongs to the RouteFile, until its next line
  uint32_t destination;
  uint32_t gateway;
  unsigned int flags;
  int references;
  int uses;
  int metric;
  uint32_t mask;

  bool up() const { return (flags & 1) != 0; }
};

class DottedAddress : public Text<16> {
 public:
  explicit DottedAddress(uint32_t address);
};

//   RouteFile routes;
//   if (!routes) return -1;
//   Route route;
//   while (routes.next(route)) ...
//   if (routes.malformed()) ...
class RouteFile {
 public:
  // Lines longer than `longest_line` characters (at most 511) go on as the next.
  explicit RouteFile(int longest_line = 255);

  explicit operator bool() const { return static_cast<bool>(file_); }
  // The next route; false at the end and at a line that is no route.
  bool next(Route &route);
  // Whether it was such a line that ended the routes.
  bool malformed() const { return malformed_; }

 private:
  bool readLine();

  File file_;
  int longest_line_;
  bool malformed_ = false;
  char line_[512];
};

}  // namespace orba
#pragma GCC visibility pop

#endif
