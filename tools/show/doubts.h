// Settings that are well formed and hardly meant so.
#ifndef ORBA_TOOLS_SHOW_DOUBTS_H
#define ORBA_TOOLS_SHOW_DOUBTS_H

#include <vector>

#include "platform/nvram/store_format.h"
#include "tools/catalog/finding.h"

namespace orba::tool {

// Names that nothing reads and that are nearly ones which are read.
std::vector<Finding> misspeltSettings(const std::vector<nvram::Setting> &config);

// Of the present device: ports in the wrong order, protocols that are none and, where its LAN has
// an address, hosts that are not in the LAN.
std::vector<Finding> doubtsAboutRecords();

}  // namespace orba::tool

#endif
