#include "net/route_file.h"

#include <arpa/inet.h>

#include <cinttypes>

namespace orba {

namespace {

constexpr char kBlanks[] = " \t\r\n";

// Takes `line` apart in place. The numbers have widths of their own, whatever
// the machine's long is.
bool parse(char *line, Route &route) {
  char *name = line + strspn(line, kBlanks);
  char *end = name + strcspn(name, kBlanks);
  if (*end == '\0') return false;
  *end = '\0';
  route.ifname = name;
  return sscanf(end + 1, "%" SCNx32 "%" SCNx32 "%x%d%d%d%" SCNx32, &route.destination,
                &route.gateway, &route.flags, &route.references, &route.uses, &route.metric,
                &route.mask) == 7;
}

}  // namespace

DottedAddress::DottedAddress(uint32_t address) {
  struct in_addr in = {address};
  fill([&](char *space, size_t size) {
    return inet_ntop(AF_INET, &in, space, static_cast<socklen_t>(size));
  });
}

RouteFile::RouteFile(int longest_line)
    : file_("/proc/net/route", "r"), longest_line_(longest_line) {
  if (file_) readLine();  // the headings
}

bool RouteFile::readLine() {
  return fgets(line_, longest_line_ + 1, file_.get()) != nullptr;
}

bool RouteFile::next(Route &route) {
  if (malformed_ || !readLine()) return false;
  malformed_ = !parse(line_, route);
  return !malformed_;
}

}  // namespace orba
