#include <algorithm>

#include "tools/catalog/peculiarities.h"
#include "tools/catalog/settings.h"
#include "tools/reference/pages.h"

namespace orba::reference {

namespace {

using tool::SettingDescription;
using tool::SettingName;

constexpr char kSettingsHead[] =
    R"(# Settings

Every setting that the library reads or writes: what it means, its form, and what happens without
it. A setting lives in space 1, the main configuration, unless space 2, the 5 GHz module's, is named.
Fields of a record are counted from 1, as `orba check` does; the library's functions count from 0.
What is done on purpose and one would not guess stands behind "Mind", and a test shows each of it.
The same at the shell: `orba explain KEY`; what is wrong with a configuration: `orba check`.

Made by `./dev reference` from `tools/catalog/setting_table.cpp` and from what the
[entry points](entry-points.md) do on the simulated device.

)";

constexpr size_t kMostUsers = 12;

std::string anchor(std::string heading) {
  std::string result;
  for (char c : heading) {
    auto byte = static_cast<unsigned char>(c);
    if (isalnum(byte) != 0 || c == '_' || c == '-') result += static_cast<char>(tolower(byte));
    if (c == ' ') result += '-';
  }
  return result;
}

bool contains(const std::set<SettingName> &names, const SettingDescription &description) {
  return std::any_of(names.begin(), names.end(), [&](const SettingName &name) {
    return description.describes(name.second, name.first);
  });
}

std::string linksTo(const std::vector<Known> &all, const SettingDescription &description,
                    std::set<SettingName> tool::Behaviour::*names) {
  std::vector<std::string> links;
  for (const Known &known : all) {
    if (!contains(known.behaviour.*names, description)) continue;
    std::string name = known.entry->name;
    links.push_back("[`" + name + "`](entry-points.md#" + anchor(name) + ")");
  }
  return listed(links, kMostUsers);
}

std::string section(const std::vector<Known> &all, const SettingDescription &description) {
  std::vector<SettingName> names;
  for (const auto &[key, example] : description.keysWithExamples()) {
    names.emplace_back(description.space, key);
  }
  std::string text = "### " + listed(titlesOf({names.begin(), names.end()})) + "\n\n" +
                     description.meaning + "\n\n- Form: " + description.form.inWords() +
                     "; for example `" + description.keysWithExamples().front().second + "`\n";
  for (const std::string &line : description.form.fieldLines()) text += "  - " + line + "\n";
  text += "- Without it: " + description.without + "\n";
  for (const std::string &sentence : tool::peculiaritiesOf(description)) {
    text += "- Mind: " + sentence + "\n";
  }
  std::string readers = linksTo(all, description, &tool::Behaviour::reads);
  std::string writers = linksTo(all, description, &tool::Behaviour::writes);
  if (!readers.empty()) text += "- Read by " + readers + "\n";
  if (!writers.empty()) text += "- Written by " + writers + "\n";
  if (readers.empty() && writers.empty()) text += "- The library neither reads nor writes it\n";
  return text + "\n";
}

}  // namespace

std::vector<std::string> titlesOf(const std::set<SettingName> &names) {
  std::vector<std::pair<const SettingDescription *, std::vector<SettingName>>> families;
  for (const SettingName &name : names) {
    const SettingDescription *description = tool::descriptionOf(name.second, name.first);
    if (families.empty() || families.back().first != description) {
      families.push_back({description, {}});
    }
    families.back().second.push_back(name);
  }
  std::vector<std::string> titles;
  for (const auto &[description, members] : families) {
    const std::string space =
        members[0].first == 1 ? "" : " (space " + std::to_string(members[0].first) + ")";
    if (members.size() > 2) {
      titles.push_back("`" + members.front().second + "` to `" + members.back().second + "`" +
                       space);
      continue;
    }
    for (const SettingName &member : members) titles.push_back("`" + member.second + "`" + space);
  }
  return titles;
}

std::string listed(const std::vector<std::string> &things, size_t most) {
  std::string text;
  for (size_t i = 0; i < things.size() && i < most; i++) text += (i > 0 ? ", " : "") + things[i];
  if (things.size() > most) text += " and " + std::to_string(things.size() - most) + " more";
  return text;
}

std::string settingsPage(const std::vector<Known> &all) {
  std::string contents, sections, group;
  for (const SettingDescription &description : tool::settingDescriptions()) {
    if (description.group != group) {
      group = description.group;
      contents += "- [" + group + "](#" + anchor(group) + ")\n";
      sections += "## " + group + "\n\n";
    }
    sections += section(all, description);
  }
  return kSettingsHead + contents + "\n" + sections;
}

}  // namespace orba::reference
