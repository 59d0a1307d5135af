// The packet filter that some runs make one behind the other, and where its rules come from.
#ifndef ORBA_TOOLS_FIREWALL_MADE_FIREWALL_H
#define ORBA_TOOLS_FIREWALL_MADE_FIREWALL_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/play/origin.h"
#include "tools/play/recording.h"

namespace orba::tool {

class MadeFirewall {
 public:
  MadeFirewall(const Recording &run, const Origins &origins);
  // What a start-up program makes. Knows only of the commands that made a rule where they come
  // from. The runs have a configuration in common, and there is at least one.
  MadeFirewall(const std::vector<Recording> &runs, const Prepare &prepare);

  // All commands as one run, with what they make together.
  const Recording &run() const { return run_; }
  // "firewall_init"; of several runs "The firewall".
  std::string name() const { return entries_.size() == 1 ? entries_[0].name : "The firewall"; }
  // A command as its entry point knows it.
  struct MadeBy {
    std::string entry;
    size_t number;  // from 1, as `orba plan` counts
    size_t part;
  };
  MadeBy madeBy(const CommandAt &at) const;
  // "command 12", of several runs "command 12 of firewall_init"
  std::string nameOf(const CommandAt &at) const;
  // Null when nobody asked.
  const CommandOrigins *originsOf(const CommandAt &at) const;
  // What the runs were given for an origin: a value, or one of its records.
  const std::string &valueOf(const Origin &origin) const;

 private:
  struct Entry {
    std::string name;
    size_t first;  // of its lines in `run_`
  };

  void splitLists();

  Recording run_;
  std::map<std::pair<int, std::string>, std::vector<std::string>> records_;  // by space and key
  Origins origins_;  // of the lines of `run_`
  std::vector<Entry> entries_;
};

}  // namespace orba::tool

#endif
