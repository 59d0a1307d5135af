// What is different between two runs, put so that it reads the same for every configuration that
// it happens to: without the addresses, names and numbers that come from the configuration.
#ifndef ORBA_TOOLS_REHEARSE_KINDS_H
#define ORBA_TOOLS_REHEARSE_KINDS_H

#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tools/play/recording.h"

namespace orba::tool {

// Words of a configuration that a command may carry: those of lists and of free texts, and
// numbers with two digits or more; not those of settings that are choices.
class OwnWords {
 public:
  explicit OwnWords(const std::vector<nvram::Setting> &settings);

  // As people may see it: "iptables -A FORWARD ... --dport 80 -j DROP", where what an option has of
  // the configuration is left out, and the protocol with it; elsewhere "<address>", "<text>". Of
  // pieces between ';' that become alike one stands for all.
  std::string generalised(std::string_view line) const;

 private:
  std::unordered_set<std::string> words_;
};

// "+ iptables ...": comes, "- ...": goes, "~ ...": has another place; each once. What is no command
// is told in the words of `orba plan`.
std::set<std::string> kindsOf(const Recording &before, const Recording &after,
                              const OwnWords &words);

}  // namespace orba::tool

#endif
