// The settings store's format: what is read from any bytes is written and read again.
#ifndef ORBA_FUZZ_SETTINGS_FILE_H
#define ORBA_FUZZ_SETTINGS_FILE_H

#include <string>
#include <string_view>

namespace orba::fuzz {

// What is wrong, empty when nothing is.
std::string checkSettingsFile(std::string_view text);

}  // namespace orba::fuzz

#endif
