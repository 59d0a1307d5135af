#include "tools/play/value_names.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <set>

#include "tools/catalog/settings.h"

namespace orba::tool {

namespace {

constexpr size_t kTelling = 4;  // characters that tell a value from others

bool isLetter(char c) {
  return isalpha(static_cast<unsigned char>(c)) != 0;
}

bool isDigit(char c) {
  return isdigit(static_cast<unsigned char>(c)) != 0;
}

bool isPartOfWord(char c) {
  return isLetter(c) || isDigit(c) || c == '.' || c == '_' || c == '-';
}

using Owners = std::map<std::string, std::set<std::string>>;  // of each value

// The name of a field: "RoutingRules[gateway]"; that of a list's only one is its key.
std::string nameOf(const std::string &key, const Form &form, int number) {
  const Field *field = form.field(number);
  return field == nullptr || field->name.empty() ? key : key + "[" + field->name + "]";
}

void addValuesOf(const std::string &key, const Form &form, const std::string &example,
                 Owners &owners) {
  const std::string separators = {form.field_separator, form.record_separator};
  int number = 1;
  for (size_t at = 0; at <= example.size();) {
    size_t end = std::min(example.find_first_of(separators, at), example.size());
    owners[example.substr(at, end - at)].insert(nameOf(key, form, number));
    number = end < example.size() && example[end] == form.field_separator ? number + 1 : 1;
    at = end + 1;
  }
}

ValueNames collectExamples() {
  Owners owners;
  for (const SettingDescription &description : settingDescriptions()) {
    for (const auto &[key, example] : description.keysWithExamples()) {
      addValuesOf(key, description.form, example, owners);
    }
  }
  ValueNames names;
  names.add("203.0.113.2", "WAN address");
  names.add("203.0.113.1", "gateway");
  names.add("192.168.1.1", "LAN address");
  names.add("eth2.2", "WAN");
  names.add("eth2.20", "WAN 2");
  for (const auto &[value, keys] : owners) {
    if (value.size() >= kTelling && keys.size() == 1) names.add(value, *keys.begin());
  }
  return names;
}

}  // namespace

void ValueNames::add(const std::string &value, const std::string &name) {
  values_.emplace_back(value, "<" + name + ">");
}

std::string ValueNames::in(std::string line) const {
  for (const auto &[value, name] : values_) {
    for (size_t at = 0; (at = line.find(value, at)) != std::string::npos;) {
      size_t end = at + value.size();
      bool whole = (at == 0 || !isPartOfWord(line[at - 1])) &&
                   (end == line.size() || !isPartOfWord(line[end]));
      if (whole) line.replace(at, value.size(), name);
      at += whole ? name.size() : 1;
    }
  }
  return line;
}

const ValueNames &namesOfExamples() {
  static const ValueNames names = collectExamples();
  return names;
}

ValueNames namesOfWords(const EntryPoint &entry, const std::vector<std::string> &words) {
  ValueNames names;
  size_t next = 0;
  for (const Parameter &parameter : entry.parameters) {
    if (!parameter.isWord() || next >= words.size()) continue;
    const std::string &word = words[next++];
    if (word.size() >= kTelling) names.add(word, parameter.name);
  }
  return names;
}

std::string kindOf(const std::string &line) {
  static const std::set<std::string> interfaces = {"br", "ra", "eth", "ppp", "apcli", "wifi"};
  std::string kind, word;
  bool in_name = false, in_number = false;
  for (char c : line + " ") {
    if (c == '<') in_name = true;
    if (!in_name) in_number = isDigit(c) || (in_number && isLetter(c));
    if (!in_name && !in_number && isLetter(c)) {
      word += c;
      continue;
    }
    if (interfaces.count(word) == 0) kind += word;
    word.clear();
    if (!in_name && !in_number && strchr(" '.:/", c) == nullptr) kind += c;
    if (c == '>') in_name = false;
  }
  return kind;
}

}  // namespace orba::tool
