#include "tools/traffic/record_words.h"

#include <map>
#include <vector>

#include "tools/catalog/settings.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// A record's values by the names of their fields; an absent field is empty.
class Values {
 public:
  Values(const Form &form, const std::string &record) {
    const std::vector<std::string> values = splitAt(record, form.field_separator);
    size_t next = 0;
    for (const Field &field : form.fields) {
      if (next >= values.size()) break;
      if (field.count == 1 && !field.name.empty()) {
        if (names_.emplace(field.name, values[next]).second) order_.push_back(field.name);
      }
      next += static_cast<size_t>(field.count);
    }
  }

  const std::string &operator[](const std::string &name) const {
    static const std::string kNone;
    auto found = names_.find(name);
    return found != names_.end() ? found->second : kNone;
  }
  const std::vector<std::string> &names() const { return order_; }

 private:
  std::map<std::string, std::string> names_;
  std::vector<std::string> order_;
};

std::string networkText(const std::string &address, const std::string &mask) {
  if (address.empty() || address == "any/0" || address == "any") return "any";
  const bool host = mask.empty() || mask == "255.255.255.255" || mask == "32";
  return host || address.find('/') != std::string::npos ? address : address + "/" + mask;
}

// "", " 25" or " 137-139"
std::string portRangeText(const std::string &first, const std::string &last) {
  if (first.empty() || first == "0") return "";
  if (last.empty() || last == "0" || last == first) return " " + first;
  return " " + first + "-" + last;
}

std::string rangeText(const std::string &first, const std::string &last) {
  return last.empty() ? first : first + " to " + last;
}

std::string filterRecord(const Values &values) {
  static const std::map<std::string, const char *> kProtocols = {
      {"1", "TCP"}, {"2", "UDP"}, {"4", "ICMP"}, {"5", "any protocol"}};
  const std::string source_ports =
      portRangeText(values["first source port"], values["last source port"]);
  auto protocol = kProtocols.find(values["protocol"]);
  std::string text = networkText(values["source address"], values["source mask"]);
  if (!source_ports.empty()) text += " port" + source_ports;
  text += " to " + networkText(values["destination address"], values["destination mask"]) + ", " +
          (protocol != kProtocols.end() ? protocol->second : "protocol " + values["protocol"]) +
          portRangeText(values["first destination port"], values["last destination port"]);
  const std::string from = values["first source MAC"], to = values["first destination MAC"];
  if (!from.empty()) text += ", from " + rangeText(from, values["last source MAC"]);
  if (!to.empty()) text += ", to " + rangeText(to, values["last destination MAC"]);
  return text;
}

std::string forwardRecord(const Values &values) {
  return values["protocol"] + portRangeText(values["first port"], values["last port"]) + " to " +
         values["LAN address"];
}

std::string policyRecord(const Values &values) {
  std::string text = "from " + networkText(values["source address"], values["source netmask"]);
  if (!values["source MAC"].empty()) text += " at " + values["source MAC"];
  if (values["protocol"] != "-1") text += ", protocol " + values["protocol"];
  const std::string ports = portRangeText(values["source port"], "");
  if (!ports.empty()) text += ", source port" + ports;
  return text + ", out by " + (values["side"].empty() ? "the LAN" : values["side"]);
}

std::string routeRecord(const Values &values) {
  std::string text = networkText(values["destination"], values["netmask"]);
  const std::string gateway = values["gateway"];
  if (!gateway.empty() && gateway != "0.0.0.0") text += " through " + gateway;
  const std::string interface = values["interface"].empty() ? values["side"] : values["interface"];
  return text + " by " + interface;
}

const std::map<std::string, std::string (*)(const Values &)> kRecords = {
    {"IPPortFilterRules", filterRecord},  {"PortForwardRules", forwardRecord},
    {"PolicyRoutingRules", policyRecord}, {"RoutingRules", routeRecord},
    {"StaticRoutingRules", routeRecord},
};

}  // namespace

std::string recordInWords(const std::string &key, int space, const std::string &record) {
  const SettingDescription *description = descriptionOf(key, space);
  if (description == nullptr || description->form.field_separator == '\0') return record;
  const Values values(description->form, record);
  auto known = kRecords.find(key);
  if (known != kRecords.end()) return known->second(values);
  std::string text;
  for (const std::string &name : values.names()) {
    if (!values[name].empty()) text += (text.empty() ? "" : ", ") + name + " " + values[name];
  }
  return text;
}

}  // namespace orba::tool
