#include "tools/catalog/settings.h"

namespace orba::tool {

namespace {

std::string numbered(const std::string &text, int number) {
  size_t at = text.find("%d");
  if (at == std::string::npos) return text;
  return text.substr(0, at) + std::to_string(number) + text.substr(at + 2);
}

}  // namespace

std::vector<std::pair<std::string, std::string>> SettingDescription::keysWithExamples() const {
  if (!isFamily()) return {{key, example}};
  std::vector<std::pair<std::string, std::string>> all;
  for (int number = first; number <= last; number++) {
    all.emplace_back(numbered(key, number), numbered(example, number));
  }
  return all;
}

std::string SettingDescription::exampleOf(const std::string &its_key) const {
  for (const auto &[each, its_example] : keysWithExamples()) {
    if (each == its_key) return its_example;
  }
  return "";
}

std::optional<std::string> SettingDescription::valueWithout() const {
  if (without == "off") return "0";
  // "0", "0 (LAN)", "5, also when empty"
  const std::string value = without.substr(0, without.find_first_of(" ,"));
  const std::string rest = without.substr(value.size());
  const bool is_value = rest.empty() || rest.starts_with(" (") || rest == ", also when empty";
  return is_value && form.limits() && form.matches(value) ? std::optional(value) : std::nullopt;
}

bool SettingDescription::describes(const std::string &other_key, int other_space) const {
  if (other_space != space) return false;
  if (!isFamily()) return other_key == key;
  size_t at = key.find("%d");
  std::string front = key.substr(0, at), behind = key.substr(at + 2);
  if (other_key.size() <= front.size() + behind.size()) return false;
  std::string number =
      other_key.substr(front.size(), other_key.size() - front.size() - behind.size());
  return other_key == front + number + behind &&
         number.find_first_not_of("0123456789") == std::string::npos;
}

const SettingDescription *descriptionOf(const std::string &key, int space) {
  for (const SettingDescription &description : settingDescriptions()) {
    if (description.describes(key, space)) return &description;
  }
  return nullptr;
}

}  // namespace orba::tool
