// Who may ask: the page that this server gave out, and programs on purpose.
#ifndef ORBA_TOOLS_SERVE_GUARD_H
#define ORBA_TOOLS_SERVE_GUARD_H

#include <functional>
#include <string>

namespace orba::tool {

class Guard {
 public:
  // What the server was told to listen on.
  Guard(const std::string &address, int port) : address_(address), port_(port) {}

  // The value of a header of the request, empty when it has none.
  using Header = std::function<std::string(const char *name)>;

  // Why a request is refused, nullptr when it is not.
  //
  // Another site's page can reach this server through the visitor's browser: by
  // its address, which the browser marks as another origin, or by a name of its
  // own that it lets point here, which then stands in Host.
  const char *refusal(const std::string &method, const Header &header) const;

 private:
  bool isOurs(const std::string &host) const;

  std::string address_;
  int port_;
};

// "[::1]" for an IPv6 address, as it stands in an URL.
std::string inUrl(const std::string &address);
bool isLoopback(const std::string &address);

}  // namespace orba::tool

#endif
