// Who may ask: a browser, or a program, that was given the address which this
// server printed, and then the page that it gave out.
#ifndef ORBA_TOOLS_SERVE_GUARD_H
#define ORBA_TOOLS_SERVE_GUARD_H

#include <functional>
#include <string>

namespace orba::tool {

// The body of a request: the longest value that a setting may be given, with what JSON adds.
constexpr size_t kLongestBody = size_t{1024} * 1024;

class Guard {
 public:
  // What the server was told to listen on. Throws std::system_error where the
  // kernel gives no random numbers.
  Guard(const std::string &address, int port);

  // The value of a header of the request, empty when it has none.
  using Header = std::function<std::string(const char *name)>;

  // Why a request is refused, nullptr when it is not.
  //
  // Another site's page can reach this server through the visitor's browser: by
  // its address, which the browser marks as another origin, or by a name of its
  // own that it lets point here, which then stands in Host.
  const char *refusal(const std::string &method, const Header &header) const;

  // Everybody on the machine reaches the port. So the page lies in a folder with a
  // random name, and asks for a random token that a cookie then keeps. A browser
  // gives the cookies of an address to each of its ports, but only with paths
  // below the cookie's: who does not know the folder is not sent the token.
  const std::string &folder() const { return folder_; }  // begins and ends with '/'
  std::string invitation() const { return folder_ + "?token=" + token_; }
  bool invites(const std::string &path, const std::string &token) const {
    return path == folder_ && token == token_;
  }
  std::string cookie() const;
  bool knows(const Header &header) const;

 private:
  bool isOurs(const std::string &host) const;

  std::string address_;
  int port_;
  std::string folder_, token_;
};

// "[::1]" for an IPv6 address, as it stands in an URL.
std::string inUrl(const std::string &address);
bool isLoopback(const std::string &address);

}  // namespace orba::tool

#endif
