#include "tools/lab/expected_failures.h"

#include <regex.h>

#include <string>

namespace orba::tool {

namespace {

struct Harmless {
  const char *command;
  const char *said;  // what the program says when it fails for this reason and no other
  const char *reason;
};

// What iptables and ebtables say of a chain or a rule that is not there.
constexpr char kMissing[] =
    "Bad rule|No chain/target/match by that name|[Cc]hain '.*' does(n't| not) exist|"
    "Couldn't load target";

constexpr Harmless kHarmless[] = {
    {"iptables -F synflood__input_filter", kMissing,
     "names no chain, so that synflood_input_filter keeps its rules"},
    {"ebtables -t nat -P MAC_FILTER RETURN", "",
     "names no chain; the filter sets the policy of MAC_Filter later"},
    {"(ip|eb)tables (-t \\w+ )?-N \\w+", "exists", "the chain is kept from the build before"},
    {"(ip|eb)tables (-t \\w+ )?-F \\w+", kMissing, "there is no chain yet to empty"},
    {"(ip|eb)tables (-t \\w+ )?-X \\w+", kMissing, "the chain is deleted already"},
    {"(ip|eb)tables (-t \\w+ )?-D \\w+ (-d 224.0.0.0/3 )?-j \\w+", kMissing,
     "the rule is taken out before it is added, and was not there"},
    {"ebtables -D Policy_Route .*", kMissing, "a policy route is removed before it is installed"},
    {"ip rule del .*", "No such file or directory|no such rule|argument \"pf_\\w+\" is wrong",
     "a policy route is removed before it is installed"},
    {"ip route del .*", "No such process|FIB table does not exist|argument \"pf_\\w+\" is wrong",
     "a policy route is removed before it is installed"},
    {"arp -d .*", "No such file or directory|No ARP entry|no entry",
     "the address had not been looked up yet"},
    {"insmod .*", "File exists", "the module is there already"},
    {"rmmod .*", "not currently loaded|No such file", "the module is gone already"},
    {"killall .*", "^$|no process", "the program is not running"},
    {"rm /etc/admin", "No such file", "there is no crontab yet"},
    {"brctl delif \\w+ \\w+", "is not a (port|slave) of",
     "takes out of the bridge what might be in it"},
    {"route delete 239.255.255.250", "No such process", "the route is gone already"},
    {"route add -host 239.255.255.250 .*", "File exists", "the route is there already"},
};

bool contains(const std::string &text, const std::string &pattern) {
  regex_t compiled;
  if (regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) return false;
  bool found = regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
  regfree(&compiled);
  return found;
}

bool matches(const std::string &text, const std::string &pattern) {
  return contains(text, "^(" + pattern + ")$");
}

}  // namespace

const char *harmlessBecause(const std::string &command, const std::string &said) {
  for (const Harmless &known : kHarmless) {
    if (matches(command, known.command) && contains(said, known.said)) return known.reason;
  }
  return nullptr;
}

}  // namespace orba::tool
