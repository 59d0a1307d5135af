#include "tools/device/config.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "tools/device/settings_forms.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

constexpr char kStandardInput[] = "-";

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";  // some editors begin with it

std::string whyUnreadable(const std::string &path, int error) {
  if (error != EISDIR) return strerror(error);
  return isStoreFolder(path) ? "is a settings store; 'orba export' makes a configuration of it"
                             : "is a folder; a file of KEY=VALUE lines is wanted";
}

// All that an open file holds, which is closed.
std::string readFile(int file, const std::string &name) {
  std::string text;
  char part[65536];
  ssize_t now = file >= 0 ? 0 : -1;
  if (file >= 0) {
    while ((now = read(file, part, sizeof part)) > 0) text.append(part, static_cast<size_t>(now));
  }
  const int error = errno;
  if (file >= 0) close(file);
  if (now < 0) throw BadConfig(name + ": " + whyUnreadable(name, error));
  return text;
}

}  // namespace

std::string nameOf(const std::string &path) {
  return path == kStandardInput ? "standard input" : path;
}

std::string keyIn(const std::string &line) {
  return visible(line.substr(0, std::min<size_t>(line.find('='), 40)));
}

std::string configText(const std::string &path) {
  static std::string read_from_input;  // which can be read only once
  const bool is_input = path == kStandardInput;
  if (is_input && !read_from_input.empty()) return read_from_input;
  std::string text = readFile(
      is_input ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC), nameOf(path));
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  if (is_input) read_from_input = text;
  return text;
}

Understood understood(const std::string &text, const std::string &path, int space) {
  std::vector<nvram::Damage> damages;
  Understood found{nvram::parseSettings(text, &damages, space), {}};
  if (damages.empty()) return found;
  const std::vector<std::string> lines = linesIn(text);
  for (const nvram::Damage &damage : damages) {
    found.not_understood.push_back({nameOf(path) + ":" + std::to_string(damage.line),
                                    keyIn(lines[static_cast<size_t>(damage.line) - 1]),
                                    damage.what});
  }
  return found;
}

std::vector<nvram::Setting> configIn(const std::string &text, const std::string &path) {
  Understood found = understood(text, path);
  std::string faults;
  for (const LeftOut &fault : found.not_understood) {
    if (on_bad_line != nullptr) on_bad_line(fault.text());
    faults += (faults.empty() ? "" : "\n") + fault.text();
  }
  if (!faults.empty() && on_bad_line == nullptr) throw BadLines(faults);
  return std::move(found.settings);
}

std::vector<nvram::Setting> readConfig(const std::string &path) {
  return configIn(configText(path), path);
}

std::string printConfig(std::vector<nvram::Setting> config) {
  auto bySpace = [](const nvram::Setting &a, const nvram::Setting &b) { return a.space < b.space; };
  std::stable_sort(config.begin(), config.end(), bySpace);
  std::string text;
  int space = 0;
  for (const nvram::Setting &entry : config) {
    if (entry.space != space) text += "[" + std::to_string(space = entry.space) + "]\n";
    text += nvram::printSetting(entry.key, entry.value);
  }
  return text;
}

void putSettings(const std::vector<nvram::Setting> &config, sim::Device &device) {
  for (const nvram::Setting &entry : config) device.setting(entry.space, entry.key, entry.value);
}

}  // namespace orba::tool
