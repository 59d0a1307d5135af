#include "tools/serve/guard.h"

#include <arpa/inet.h>
#include <sys/random.h>

#include <cerrno>
#include <sstream>
#include <system_error>

namespace orba::tool {

namespace {

bool isAddress(int family, const std::string &text) {
  unsigned char bytes[sizeof(in6_addr)];
  return inet_pton(family, text.c_str(), bytes) == 1;
}

bool isAddress(const std::string &text) {
  return isAddress(AF_INET, text) || isAddress(AF_INET6, text);
}

// 128 random bits in hexadecimal.
std::string randomName() {
  unsigned char bytes[16];
  if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) {
    throw std::system_error(errno, std::generic_category(), "random numbers");
  }
  std::string name;
  for (unsigned char byte : bytes) {
    name += "0123456789abcdef"[byte >> 4];
    name += "0123456789abcdef"[byte & 15];
  }
  return name;
}

constexpr char kCookie[] = "orba=";

}  // namespace

Guard::Guard(const std::string &address, int port)
    : address_(address), port_(port), folder_("/" + randomName() + "/"), token_(randomName()) {}

std::string Guard::cookie() const {
  return kCookie + token_ + "; Path=" + folder_ + "; HttpOnly; SameSite=Strict";
}

bool Guard::knows(const Header &header) const {
  // Other servers of this address may have set cookies of their own.
  std::istringstream cookies(header("Cookie"));
  for (std::string cookie; std::getline(cookies >> std::ws, cookie, ';');) {
    if (cookie == kCookie + token_) return true;
  }
  return false;
}

std::string inUrl(const std::string &address) {
  return isAddress(AF_INET6, address) ? "[" + address + "]" : address;
}

bool isLoopback(const std::string &address) {
  return address == "localhost" || address == "::1" ||
         (isAddress(AF_INET, address) && address.rfind("127.", 0) == 0);
}

bool Guard::isOurs(const std::string &host) const {
  std::string port = ":" + std::to_string(port_);
  std::string name = host;
  // A browser leaves the web's own port out.
  if (name.size() > port.size() && name.ends_with(port)) {
    name.resize(name.size() - port.size());
  } else if (port_ != 80) {
    return false;
  }
  if (name.size() > 2 && name.front() == '[' && name.back() == ']') {
    name = name.substr(1, name.size() - 2);
  }
  // No name that somebody else could let point here: addresses only.
  return name == "localhost" || name == address_ ||
         (isLoopback(address_) ? isLoopback(name) : isAddress(name));
}

const char *Guard::refusal(const std::string &method, const Header &header) const {
  std::string host = header("Host"), origin = header("Origin"), site = header("Sec-Fetch-Site");
  if (!isOurs(host)) return "this is not the name of this server";
  if (!origin.empty() && origin != "http://" + host) return "another site's page asked";
  if (!site.empty() && site != "same-origin" && site != "none") return "another site's page asked";
  if (method == "GET" || method == "HEAD") return nullptr;
  if (method != "POST") return "only GET and POST are answered";
  // A form of another site's cannot have this type without asking first.
  if (header("Content-Type") != "application/json") return "the body is to be application/json";
  if (!header("Transfer-Encoding").empty() || !header("Content-Encoding").empty()) {
    return "the body is to come as it is";
  }
  std::string length = header("Content-Length");
  if (length.empty() || length.size() > 7 ||
      length.find_first_not_of("0123456789") != std::string::npos ||
      std::stoul(length) > kLongestBody) {
    return "the body is to have a length, of 1 MiB at most";
  }
  return nullptr;
}

}  // namespace orba::tool
