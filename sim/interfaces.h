// The device's network interfaces.
#ifndef ORBA_SIM_INTERFACES_H
#define ORBA_SIM_INTERFACES_H

#include <map>
#include <optional>
#include <string>

namespace sim {

class Interface {
 public:
  Interface &address(const std::string &dotted) { return address_ = dotted, *this; }
  Interface &netmask(const std::string &dotted) { return netmask_ = dotted, *this; }
  Interface &mac(const std::string &colons) { return mac_ = colons, *this; }

  const std::string &address() const { return address_; }
  const std::string &netmask() const { return netmask_; }
  const std::string &mac() const { return mac_; }

 private:
  std::string address_, netmask_, mac_;
};

class Interfaces {
 public:
  Interface &operator[](const std::string &name) { return by_name_[name]; }
  // Answers the address requests of sockets; nothing for any other.
  std::optional<int> request(unsigned long number, void *argument) const;

 private:
  std::map<std::string, Interface> by_name_;
};

}  // namespace sim

#endif
