// What a setting does, and what an entry point does.
#ifndef ORBA_TOOLS_SHOW_EXPLAIN_H
#define ORBA_TOOLS_SHOW_EXPLAIN_H

#include <ostream>
#include <string>

#include "tools/catalog/settings.h"

namespace orba::tool {

// The first sentence of a setting's meaning, or its part in front of a colon or a semicolon.
std::string inShort(const SettingDescription &setting);

// `name` is a setting, in whichever space, or an entry point; empty for a list
// of all settings. Throws BadArgument, with near names, when it is neither.
void explain(std::ostream &out, const std::string &name, bool json);

}  // namespace orba::tool

#endif
