// The room tools/reference: the pages of docs/ that are made from what the other rooms
// know, and what those pages show to be missing.
//
// The two pages of the reference.
#ifndef ORBA_TOOLS_REFERENCE_PAGES_H
#define ORBA_TOOLS_REFERENCE_PAGES_H

#include <string>
#include <vector>

#include "tools/play/behaviour.h"
#include "tools/reference/symbols.h"

namespace orba::reference {

using tool::Known;

std::string settingsPage(const std::vector<Known> &all);
std::string entryPointsPage(const std::vector<Known> &all, const std::vector<Symbol> &symbols);

// What is lacking in the table of settings: one line each for a setting that an
// entry point uses, in any situation, and the table does not have.
std::vector<std::string> undescribed(const std::vector<Known> &all);

// "`a`, `b` and 3 more".
std::string listed(const std::vector<std::string> &things, size_t most = 1000);

// "`wan2Vid` to `wan4Vid`", "`AuthMode` (space 2)".
std::vector<std::string> titlesOf(const std::set<tool::SettingName> &names);

}  // namespace orba::reference

#endif
