#include "tools/rehearse/calls.h"

#include <algorithm>
#include <set>

#include "orba_util.h"
#include "tools/play/event_words.h"

namespace orba::tool {

namespace {

// Of an entry point so many are remembered: by what they asked for, and of each by what they found.
constexpr size_t kMostAlike = 64, kMostDigests = 1024;

class Digest {
 public:
  Digest() { A_SHAInit(&context_); }

  void add(std::string_view text) {
    constexpr size_t kMost = 1 << 20;
    while (text.size() > kMost) {
      put(text.substr(0, kMost));
      text.remove_prefix(kMost);
    }
    put(text);
    put({"", 1});
  }
  void add(size_t number) { add(std::to_string(number)); }

  std::string text() {
    unsigned char digest[20];
    A_SHAFinal(&context_, digest);
    std::string digits;
    for (size_t i = 0; i < 8; i++) {
      digits += "0123456789abcdef"[digest[i] >> 4];
      digits += "0123456789abcdef"[digest[i] & 15];
    }
    return digits;
  }

 private:
  void put(std::string_view text) {
    A_SHAUpdate(&context_, reinterpret_cast<const unsigned char *>(text.data()),
                static_cast<int>(text.size()));
  }

  A_SHA_CTX context_;
};

// A call on a device that has those settings alone which its entry point has been seen to ask for:
// it is made sooner. When it asks for others, it is made again with those too.
Recording recordWithAskedFor(Calls &calls, const std::vector<nvram::Setting> &settings,
                             const EntryPoint &entry) {
  using Names = std::set<std::pair<int, std::string>>;
  static std::unordered_map<const EntryPoint *, Names> seen;
  Names &names = seen[&entry];
  for (bool all = names.empty();; all = false) {
    std::vector<nvram::Setting> some;
    for (const nvram::Setting &each : settings) {
      if (!all && names.count({each.space, each.key}) != 0) some.push_back(each);
    }
    Recording run = calls.record(all ? settings : some, entry);
    const size_t known = names.size();
    for (const auto &[name, commands_before] : run.asked) names.insert(name);
    if (all || names.size() == known) return run;
  }
}

}  // namespace

const std::vector<const EntryPoint *> &wordlessEntryPoints() {
  static const std::vector<const EntryPoint *> all = [] {
    std::vector<const EntryPoint *> found;
    for (const EntryPoint &entry : entryPoints()) {
      const bool words = std::any_of(entry.parameters.begin(), entry.parameters.end(),
                                     [](const Parameter &each) { return each.isWord(); });
      if (!words) found.push_back(&entry);
    }
    return found;
  }();
  return all;
}

std::string digestOf(const Recording &run) {
  Digest digest;
  digest.add(run.result.returned);
  digest.add(run.result.outputs.size());
  for (const std::string &output : run.result.outputs) digest.add(output);
  digest.add(run.events.size());
  for (const sim::Event &event : run.events) {
    digest.add(nameOf(event.kind));
    digest.add(event.text);
  }
  digest.add(run.files.size());
  for (const auto &[path, content] : run.files) {
    digest.add(path);
    digest.add(content);
  }
  return digest.text();
}

size_t Calls::numberOf(int space, std::string_view key) {
  Numbers &numbers = numbers_.at(static_cast<size_t>(space));
  if (auto known = numbers.find(key); known != numbers.end()) return known->second;
  numbers.emplace(key, names_);
  return names_++;
}

// As many as there are names now. Of two settings of a name the store keeps the later one.
void Calls::readValues(Asked &asked) const {
  asked.values_.assign(names_, 0);
  for (const nvram::Setting &each : asked.settings_) {
    const Numbers &numbers = numbers_.at(static_cast<size_t>(each.space));
    const auto known = numbers.find(each.key);
    if (known != numbers.end()) {
      asked.values_[known->second] = std::hash<std::string_view>()(each.value) | 1;
    }
  }
}

uint64_t Calls::found(Asked &asked, const Names &names) const {
  uint64_t all = 0x9e3779b97f4a7c15u;
  for (size_t name : names) {
    all = (all ^ asked.values_[name]) * 0xff51afd7ed558ccdu;
    all ^= all >> 32;
  }
  return all;
}

const std::string &Calls::digest(Asked &asked, const EntryPoint &entry) {
  std::vector<Alike> &known = known_[&entry];
  if (asked.values_.size() != names_) readValues(asked);
  for (const Alike &each : known) {
    const auto digest = each.digests.find(found(asked, each.names));
    if (digest != each.digests.end()) return digest->second;
  }
  Recent &recent = recent_[next_recent_++ % recent_.size()];
  recent = {&entry, "", recordWithAskedFor(*this, asked.settings_, entry)};
  const Recording &run = recent.run;
  recent.digest = digestOf(run);
  Names names;
  for (const auto &[name, commands_before] : run.asked) {
    names.push_back(numberOf(name.first, name.second));
  }
  if (asked.values_.size() != names_) readValues(asked);
  auto alike = std::find_if(known.begin(), known.end(),
                            [&](const Alike &each) { return each.names == names; });
  if (alike == known.end()) {
    if (known.size() >= kMostAlike) known.clear();
    alike = known.insert(known.end(), Alike{std::move(names), {}});
  }
  if (alike->digests.size() >= kMostDigests) alike->digests.clear();
  return alike->digests[found(asked, alike->names)] = recent.digest;
}

const Recording &Calls::recording(Asked &asked, const EntryPoint &entry,
                                  const std::string &digest) {
  for (const Recent &each : recent_) {
    if (each.entry == &entry && each.digest == digest) return each.run;
  }
  Recent &recent = recent_[next_recent_++ % recent_.size()];
  recent = {&entry, digest, record(asked.settings_, entry)};
  return recent.run;
}

}  // namespace orba::tool
