// Writes /proc/net/route as the kernel does.
#ifndef ORBA_TESTS_NET_KERNEL_ROUTES_H
#define ORBA_TESTS_NET_KERNEL_ROUTES_H

#include <arpa/inet.h>

#include <cstdio>
#include <string>
#include <vector>

constexpr char kRoutes[] = "/proc/net/route";
constexpr int kUp = 1;
constexpr int kUpWithGateway = 3;

inline std::string route(const char *ifname, const char *destination, const char *gateway,
                         const char *mask, int flags) {
  char line[256];
  snprintf(line, sizeof line, "%s\t%08X\t%08X\t%04X\t%d\t%d\t%d\t%08X\t0\t0\t0\n", ifname,
           inet_addr(destination), inet_addr(gateway), static_cast<unsigned int>(flags), 2, 7, 5,
           inet_addr(mask));
  return line;
}

inline std::string kernelRoutes(const std::vector<std::string> &routes) {
  std::string file =
      "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
  for (const std::string &line : routes) file += line;
  return file;
}

#endif
