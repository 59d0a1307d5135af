#include "tools/device/config.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// What names the setting in a line that is none: all before the '=', if there
// is one, and not too much of it.
std::string keyIn(const std::string &content, int line) {
  std::istringstream lines(content);
  std::string text;
  for (int i = 0; i < line; i++) std::getline(lines, text);
  return visible(text.substr(0, std::min<size_t>(text.find('='), 40)));
}

}  // namespace

std::vector<nvram::Setting> readConfig(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  if (file) content << file.rdbuf();
  if (!file) throw BadConfig(path + ": " + strerror(errno != 0 ? errno : EIO));

  std::vector<nvram::Damage> damages;
  std::vector<nvram::Setting> entries = nvram::parseSettings(content.str(), &damages);
  std::string faults;
  for (const nvram::Damage &damage : damages) {
    faults += (faults.empty() ? "" : "\n") + path + ":" + std::to_string(damage.line) + ": \"" +
              keyIn(content.str(), damage.line) + "\" " + damage.what;
  }
  if (!faults.empty()) throw BadConfig(faults);
  return entries;
}

void putSettings(const std::vector<nvram::Setting> &config, sim::Device &device) {
  for (const nvram::Setting &entry : config) {
    device.settings({{entry.key, entry.value}}, entry.space);
  }
}

}  // namespace orba::tool
