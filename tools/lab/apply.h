// Calling an entry point with real commands.
#ifndef ORBA_TOOLS_LAB_APPLY_H
#define ORBA_TOOLS_LAB_APPLY_H

#include <string>
#include <vector>

namespace orba::tool {

struct ApplyOptions {
  std::string entry;
  std::vector<std::string> words;
  std::string config;  // empty: the lab's, or this machine's own store
  bool on_this_machine = false;
  bool json = false;
};

// Runs the entry point in the lab's router, or on this machine. Returns whether
// every command did what it was meant to. Throws BadArgument, BadConfig, NoLab.
bool apply(const ApplyOptions &options);

}  // namespace orba::tool

#endif
