// The other forms in which a router's settings come: the folder of a settings store, and the
// plain lines that a device prints of one space.
#ifndef ORBA_TOOLS_DEVICE_SETTINGS_FORMS_H
#define ORBA_TOOLS_DEVICE_SETTINGS_FORMS_H

#include <string>
#include <vector>

#include "tools/device/config.h"

namespace orba::tool {

// ---- a settings store: a folder with a file spaceN.conf for each space ----

bool isStoreFolder(const std::string &folder);
// Those of all its spaces. Throws BadConfig when there is no such file.
Understood storeSettings(const std::string &folder);
// The spaces of `settings` of which the store has a file already.
std::vector<int> spacesThere(const std::string &folder,
                             const std::vector<nvram::Setting> &settings);
// Each space of `settings` has these alone afterwards, and keeps its owner and mode; other spaces
// stay. What happens meanwhile, a space is the old one or the new one. Throws BadConfig.
void putIntoStore(const std::string &folder, const std::vector<nvram::Setting> &settings);

// ---- plain lines of one space: KEY=VALUE, each byte as it is ----

// Line ends of a terminal, when every line has one, are no part of the values.
Understood plainSettings(const std::string &text, const std::string &path, int space);
// The settings of one space; those that no such line can hold are left out.
std::string printPlain(const std::vector<nvram::Setting> &settings, int space,
                       std::vector<LeftOut> *left_out);

}  // namespace orba::tool

#endif
