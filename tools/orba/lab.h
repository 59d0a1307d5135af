// The lab: a router in network namespaces (lab/README.md).
#ifndef ORBA_TOOLS_LAB_H
#define ORBA_TOOLS_LAB_H

#include <stdexcept>
#include <string>
#include <vector>

namespace orba::tool {

struct NoLab : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Gives this process to one of the lab's scripts, "up.sh", with its words.
// Throws NoLab when there is none.
[[noreturn]] void runLabScript(const std::string &script, const std::vector<std::string> &words);

// The configuration that the lab was made for. Throws NoLab when no lab is up.
std::string labConfig();

// Moves this process into the lab's router: its network, its files, its process
// numbers. There is no way back; what goes on is a child of the process that
// called, which only waits for it. Throws NoLab when no lab is up.
void enterLab();

}  // namespace orba::tool

#endif
