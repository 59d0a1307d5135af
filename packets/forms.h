// Rules as iptables and ebtables are given them, read into data.
#ifndef ORBA_PACKETS_FORMS_H
#define ORBA_PACKETS_FORMS_H

#include <functional>
#include <string>
#include <vector>

#include "packets/network.h"
#include "packets/rule.h"

namespace packets {

// What a rule is read against.
struct FormContext {
  const Network &network;
  // Whether the table has a chain of its users of this name.
  std::function<bool(const std::string &chain)> has_chain;
  // The field of a question that nobody can answer, in words.
  std::function<FieldId(const std::string &words)> question;
};

// What stands behind the chain's name. The negation may stand before its option, or behind it as
// the device's older iptables wants it.
Refused readIptablesRule(const std::vector<std::string> &words, const FormContext &context,
                         Rule &rule);
Refused readEbtablesRule(const std::vector<std::string> &words, const FormContext &context,
                         Rule &rule);

}  // namespace packets

#endif
