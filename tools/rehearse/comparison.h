// One configuration on both sides, and what is different.
#ifndef ORBA_TOOLS_REHEARSE_COMPARISON_H
#define ORBA_TOOLS_REHEARSE_COMPARISON_H

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/rehearse/calls.h"
#include "tools/rehearse/crew.h"
#include "tools/rehearse/version.h"

namespace orba::tool {

// Both sides, and how closely they are looked at.
struct TwoSides {
  std::string before, after;         // paths of programs; empty for this one
  std::vector<SettingEdit> edits;    // of the configurations that `after` gets
  std::vector<std::string> entries;  // calls, "getIfIp br0"; empty for all that need no words
  bool traffic = false;
};

// Something that is different. Configurations have the same change when it has the same kinds.
struct SideChange {
  bool traffic = false;           // of packets, and not of what entry points do
  bool opens = false;             // lets something in from the Internet
  std::set<std::string> kinds;    // as kindsOf() and trafficChangeText() have them
  std::set<std::string> entries;  // in whose runs it is seen
};

class SidesCompared {
 public:
  SidesCompared(const TwoSides &sides, const Prepare &prepare);

  // What is different for these settings. What changes in the same entry points together is one
  // change: so each builder of rules has its own, and a program that calls several of them is told
  // with each. `deaths` and `place` as a worker has them.
  std::vector<SideChange> changes(const std::vector<nvram::Setting> &settings, uint32_t part,
                                  const Deaths &deaths, Place &place);
  // Whether some of the settings of an example show at least the change that all of them do.
  bool show(const std::vector<nvram::Setting> &some, const std::vector<nvram::Setting> &example,
            const SideChange &change, uint32_t part, const Deaths &deaths, Place &place);

  // What there is to show of a change: the lines that come and go in one of its entry points, and
  // what becomes of traffic with the packets that show it.
  struct Witness {
    std::string entry;
    std::vector<std::string> lines;    // "+ iptables ..."
    std::vector<std::string> traffic;  // "+ tcp 22 from ...", "  such as ..."
    bool opens = false;
  };
  Witness witness(const std::vector<nvram::Setting> &some,
                  const std::vector<nvram::Setting> &example, const SideChange &change);

 private:
  // Of one configuration.
  struct Both;
  using Kinds = std::map<std::string, std::set<std::string>>;  // and where they are seen

  // What is generalised are the words of `example`.
  std::vector<SideChange> changes(const std::vector<nvram::Setting> &settings,
                                  const std::vector<nvram::Setting> &example, uint32_t part,
                                  const Deaths &deaths, Place &place);
  void compareOwn(Both &both, const Deaths &deaths, Place &place, Kinds &kinds);
  void comparePrograms(Both &both, const Deaths &deaths, Place &place, Kinds &kinds);
  std::set<std::string> kindsOfPrograms(Both &both, const std::string &entry);
  void addTraffic(Both &both, std::vector<SideChange> &changes);
  Recording run(Both &both, bool after, const std::string &entry);

  const TwoSides sides_;
  const Prepare prepare_;
  Calls calls_;
  std::vector<EntryCall> entries_;
  std::unique_ptr<Version> before_, after_;  // null where both are this program
};

}  // namespace orba::tool

#endif
