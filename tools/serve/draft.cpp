#include "tools/serve/draft.h"

#include <algorithm>
#include <sstream>

namespace orba::tool {

namespace {

constexpr size_t kMostChanges = 1000;

const nvram::Setting *find(const std::vector<nvram::Setting> &entries, const Draft::Name &name) {
  for (const nvram::Setting &entry : entries) {
    if (entry.space == name.first && entry.key == name.second) return &entry;
  }
  return nullptr;
}

// From 1; 0 when the space has no settings.
size_t lastLineOf(const std::vector<nvram::Setting> &entries, int space) {
  int last = 0;
  for (const nvram::Setting &entry : entries) {
    if (entry.space == space) last = std::max(last, entry.line);
  }
  return static_cast<size_t>(last);
}

// Only of text that was read without a fault before, or that this file wrote.
std::vector<nvram::Setting> parsed(const std::string &text) {
  std::vector<nvram::Damage> damages;
  return nvram::parseSettings(text, &damages);
}

}  // namespace

Draft::Draft(std::string text)
    : text_(std::move(text)), saved_text_(text_), kept_(parsed(text_)), saved_(kept_) {}

Draft::Value Draft::kept(const Name &name) const {
  const nvram::Setting *entry = find(kept_, name);
  return entry != nullptr ? Value(entry->value) : std::nullopt;
}

std::vector<Draft::Name> Draft::unsaved() const {
  const std::map<Name, std::string> kept = byName(kept_), saved = byName(saved_);
  std::vector<Name> names;
  for (const auto &[name, value] : kept) {
    auto there = saved.find(name);
    if (there == saved.end() || there->second != value) names.push_back(name);
  }
  for (const auto &[name, value] : saved) {
    if (kept.count(name) == 0) names.push_back(name);
  }
  return names;
}

std::vector<nvram::Setting> Draft::changed() const {
  return parsed(text());
}

std::string Draft::text() const {
  std::vector<std::string> lines;
  std::istringstream text(text_);
  for (std::string line; std::getline(text, line);) lines.push_back(line + "\n");

  // What is new goes below the last setting of its space.
  std::vector<std::string> below(lines.size());
  std::string new_sections;
  int section = 0;
  for (const auto &[name, value] : changes_) {
    std::string line = value ? nvram::printSetting(name.second, *value) : "";
    size_t last = lastLineOf(kept_, name.first);
    if (const nvram::Setting *entry = find(kept_, name)) {
      lines[static_cast<size_t>(entry->line) - 1] = line;
    } else if (last > 0) {
      below[last - 1] += line;
    } else {
      if (section != name.first) new_sections += "\n[" + std::to_string(name.first) + "]\n";
      section = name.first;
      new_sections += line;
    }
  }
  std::string changed;
  for (size_t i = 0; i < lines.size(); i++) changed += lines[i] + below[i];
  return changed + new_sections;
}

void Draft::mustBe(const Name &name, const Value &value) const {
  auto change = changes_.find(name);
  if ((change != changes_.end() ? change->second : kept(name)) == value) return;
  throw BadChange(name.second + " has been changed elsewhere meanwhile, and is shown as it is now");
}

void Draft::change(const Name &name, const Value &value) {
  if (name.first < nvram::kFirstSpace || name.first > nvram::kLastSpace) {
    throw BadChange("there is no space " + std::to_string(name.first));
  }
  if (!nvram::validKey(name.second)) throw BadChange("this is no name for a setting");
  if (value && value->size() > kLongestValue) {
    throw BadChange("a value has " + std::to_string(kLongestValue) + " bytes at most, and this " +
                    std::to_string(value->size()));
  }
  if (value && value->find('\0') != std::string::npos) {
    throw BadChange("a value cannot hold a NUL byte");
  }
  if (value == kept(name)) {
    changes_.erase(name);
  } else {
    if (changes_.size() >= kMostChanges) throw BadChange("these are too many changes");
    changes_[name] = value;
  }
  version_++;
}

void Draft::keep() {
  text_ = text();
  kept_ = parsed(text_);
  changes_.clear();
  version_++;
}

void Draft::discard() {
  changes_.clear();
  version_++;
}

void Draft::onFile(const std::string &text) {
  if (text == saved_text_) return;
  saved_text_ = text;
  saved_ = parsed(text);
  version_++;
}

std::map<Draft::Name, std::string> byName(const std::vector<nvram::Setting> &settings) {
  std::map<Draft::Name, std::string> values;
  for (const nvram::Setting &setting : settings) {
    values[{setting.space, setting.key}] = setting.value;
  }
  return values;
}

}  // namespace orba::tool
