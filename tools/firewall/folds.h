// Long stretches of a chain that nobody reads from end to end.
#ifndef ORBA_TOOLS_FIREWALL_FOLDS_H
#define ORBA_TOOLS_FIREWALL_FOLDS_H

#include <string>
#include <vector>

#include "tools/firewall/chains.h"

namespace orba::tool {

// Rules of a chain beside each other that are shown as one row, which opens.
struct Fold {
  size_t first, end;  // places in DrawnChain::rules
};

// Of each long stretch of rules that lead to the same chain, or all to none, and changed alike,
// the middle: its beginning and its end stay in sight. In order.
std::vector<Fold> foldsOf(const FirewallChains &chains, const DrawnChain &chain);

// "1,984 more rules, 13 to 1996: 1,200 DROP, 784 ACCEPT"
std::string textOf(const Fold &fold, const DrawnChain &chain);

}  // namespace orba::tool

#endif
