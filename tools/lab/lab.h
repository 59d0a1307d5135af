// The room tools/lab: what is done for real: entering a lab, closing it in, running the
// library's commands there and judging what came of them.
//
// The lab: a router in network namespaces (lab/README.md).
#ifndef ORBA_TOOLS_LAB_LAB_H
#define ORBA_TOOLS_LAB_LAB_H

#include <string>
#include <vector>

#include "platform/nvram/store_format.h"
#include "tools/catalog/entry_point.h"

namespace orba::tool {

// Asked for a lab where there is none.
struct NoLab : BadArgument {
  using BadArgument::BadArgument;
};

// Gives this process to one of the lab's scripts, "up.sh", with its words.
// Throws NoLab when there is none.
[[noreturn]] void runLabScript(const std::string &script, const std::vector<std::string> &words);

// Gives this process to the script that makes a lab for a configuration, and says what it has.
[[noreturn]] void makeLab(const std::vector<nvram::Setting> &config, bool json);

// Gives this process to the booted router's script (machine/booted.py) with its words; where
// settings are given they are its standard input.
[[noreturn]] void runBooted(const std::vector<std::string> &words,
                            const std::vector<nvram::Setting> *config = nullptr);

// The configuration that the lab was made for. Throws NoLab when no lab is up.
std::string labConfig();

// Moves this process into a host of the lab, "router", "lan" or "internet": its
// network, its files, its process numbers. There is no way back; what goes on is a
// child of the process that called, which only waits for it. Throws NoLab when no lab
// is up.
void enterLab(const std::string &host);

// Becomes a command on a host of the lab. From the words, the host first: without any
// it is the router, and without a command a shell. Throws NoLab when that cannot be.
[[noreturn]] void runInLab(const std::vector<std::string> &words);

}  // namespace orba::tool

#endif
