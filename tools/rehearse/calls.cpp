#include "tools/rehearse/calls.h"

#include <openssl/evp.h>

#include <algorithm>
#include <stdexcept>

#include "sim/line_splitter.h"
#include "tools/play/event_words.h"

namespace orba::tool {

namespace {

// Of an entry point so many are remembered: by what they asked for, and of each by what they found.
constexpr size_t kMostAlike = 64, kMostDigests = 1024;
// Names of settings, sets of them, and short values that have numbers.
constexpr size_t kMostNumbers = 20'000, kMostValues = 200'000;
// Bytes of a value that is kept to have a number; that of a longer one is its digest.
constexpr size_t kShort = 32;
constexpr uint64_t kIsDigest = uint64_t{1} << 63;

// The first digits of the SHA-1 of texts and numbers, with a NUL behind each.
class Digest {
 public:
  void add(std::string_view text) {
    all_ += text;
    all_ += '\0';
  }
  void add(size_t number) { add(std::to_string(number)); }

  uint64_t number() const {
    unsigned char digest[EVP_MAX_MD_SIZE];
    if (EVP_Digest(all_.data(), all_.size(), digest, nullptr, EVP_sha1(), nullptr) != 1) {
      throw std::runtime_error("no SHA-1 on this machine");
    }
    uint64_t number = 0;
    for (size_t i = 0; i < 8; i++) number = number << 8 | digest[i];
    return number;
  }

 private:
  std::string all_;
};

}  // namespace

EntryCall entryCall(const std::string &text) {
  std::optional<std::vector<std::string>> words = sim::wordsOf(text);
  if (!words || words->empty())
    throw BadArgument(text + ": an entry point and its words are wanted");
  const EntryPoint &entry = entryPointNamed(words->front());
  words->erase(words->begin());
  entry.checkWords(*words);
  const std::string name = callText(entry.name, *words);
  return {&entry, std::move(*words), name};
}

std::string callText(const std::string &entry, const std::vector<std::string> &words) {
  std::string text = entry;
  for (const std::string &word : words) text += " " + sim::quoted(word);
  return text;
}

const std::vector<EntryCall> &wordlessCalls() {
  static const std::vector<EntryCall> all = [] {
    std::vector<EntryCall> calls;
    for (const EntryPoint &entry : entryPoints()) {
      const bool words = std::any_of(entry.parameters.begin(), entry.parameters.end(),
                                     [](const Parameter &each) { return each.isWord(); });
      if (!words) calls.push_back({&entry, {}, entry.name});
    }
    return calls;
  }();
  return all;
}

const EntryCall *wordlessCall(const std::string &name) {
  static const auto by_name = [] {
    std::unordered_map<std::string_view, const EntryCall *> all;
    for (const EntryCall &call : wordlessCalls()) all.emplace(call.text, &call);
    return all;
  }();
  const auto found = by_name.find(name);
  return found != by_name.end() ? found->second : nullptr;
}

std::string digestOf(const RawRecording &raw) {
  return digestText(digestNumber(raw));
}

std::string digestText(uint64_t digest) {
  std::string digits;
  for (int shift = 60; shift >= 0; shift -= 4) digits += "0123456789abcdef"[digest >> shift & 15];
  return digits;
}

uint64_t digestNumber(const RawRecording &raw) {
  Digest digest;
  digest.add(raw.result.returned);
  digest.add(raw.result.outputs.size());
  for (const std::string &output : raw.result.outputs) digest.add(output);
  digest.add(raw.events.size());
  for (const sim::Event &event : raw.events) {
    digest.add(nameOf(event.kind));
    digest.add(event.text);
  }
  digest.add(raw.files.size());
  for (const auto &[path, content] : raw.files) {
    digest.add(path);
    digest.add(content);
  }
  return digest.number();
}

size_t Calls::numberOf(int space, std::string_view key) {
  Numbers &numbers = numbers_.at(static_cast<size_t>(space));
  if (auto known = numbers.find(key); known != numbers.end()) return known->second;
  numbers.emplace(key, names_);
  return names_++;
}

size_t Calls::numberOf(const Names &names) {
  const auto [set, is_new] = set_numbers_.try_emplace(names, sets_.size());
  if (is_new) sets_.push_back(&set->first);
  return set->second;
}

// Nobody can make up a value with the number of another's, as he could with a mere hash of it.
uint64_t Calls::numberOf(const std::string &value) {
  if (value.size() > kShort) {
    Digest digest;
    digest.add(value);
    return digest.number() | kIsDigest;
  }
  return value_numbers_.try_emplace(value, value_numbers_.size() + 1).first->second;
}

// Of two settings of a name the store keeps the later one.
void Calls::readNumbers(Asked &asked) {
  asked.names_.clear();
  asked.values_.assign(names_, 0);
  if (asked.times_forgotten_ != times_forgotten_) asked.found_.clear();
  asked.times_forgotten_ = times_forgotten_;
  for (const nvram::Setting &each : asked.settings_) {
    const Numbers &numbers = numbers_.at(static_cast<size_t>(each.space));
    const auto known = numbers.find(each.key);
    asked.names_.push_back(known != numbers.end() ? known->second : SIZE_MAX);
    if (known != numbers.end()) {
      asked.values_[known->second] = numberOf(each.value);
    }
  }
}

void Calls::forgetTooMany() {
  if (names_ < kMostNumbers && sets_.size() < kMostNumbers && value_numbers_.size() < kMostValues) {
    return;
  }
  known_.clear();
  value_numbers_.clear();
  sets_.clear();
  set_numbers_.clear();
  numbers_ = {};
  names_ = 0;
  times_forgotten_++;
}

uint64_t Calls::found(Asked &asked, size_t names) const {
  if (asked.found_.size() <= names) asked.found_.resize(sets_.size());
  uint64_t &all = asked.found_[names];
  if (all != 0) return all;
  all = 0x9e3779b97f4a7c15u;
  for (size_t name : *sets_[names]) {
    all = (all ^ asked.values_[name]) * 0xff51afd7ed558ccdu;
    all ^= all >> 32;
  }
  return all |= 1;
}

// On a device that has those settings alone which its entry point has been seen to ask for: it is
// made sooner. When it asks for others, it is made again with those too.
RawRecording Calls::makeCall(Asked &asked, const EntryCall &call, Known &known, Names &names) {
  for (;;) {
    Series::Settings some;
    for (size_t i = 0; i < asked.settings_.size(); i++) {
      const size_t name = asked.names_[i];
      if (name < known.asks.size() && known.asks[name]) some.push_back(&asked.settings_[i]);
    }
    sim::Device::FirstAsked asked_for;
    RawRecording raw = series_.raw(some, *call.entry, call.words, asked_for);
    names.clear();
    bool others = false;
    for (const auto &[name, events_before] : asked_for) {
      const size_t number = numberOf(name.first, name.second);
      names.push_back(number);
      if (number >= known.asks.size()) known.asks.resize(number + 1);
      others |= !known.asks[number];
      known.asks[number] = true;
    }
    if (asked.values_.size() != names_) readNumbers(asked);
    if (!others) return raw;
  }
}

uint64_t Calls::digest(Asked &asked, const EntryCall &call) {
  forgetTooMany();
  const bool numbered = asked.names_.size() == asked.settings_.size() &&
                        asked.values_.size() == names_ &&
                        asked.times_forgotten_ == times_forgotten_;
  if (!numbered) readNumbers(asked);
  Known &known = known_[&call];
  for (const Alike &each : known.alike) {
    const auto digest = each.digests.find(found(asked, each.names));
    if (digest != each.digests.end()) return digest->second;
  }
  Names names;
  Recent &recent = recent_[next_recent_++ % recent_.size()];
  recent = {&call, 0, makeCall(asked, call, known, names), {}};
  recent.digest = digestNumber(recent.raw);
  const size_t set = numberOf(names);
  auto alike = std::find_if(known.alike.begin(), known.alike.end(),
                            [&](const Alike &each) { return each.names == set; });
  if (alike == known.alike.end()) {
    if (known.alike.size() >= kMostAlike) known.alike.clear();
    alike = known.alike.insert(known.alike.end(), Alike{set, {}});
  }
  if (alike->digests.size() >= kMostDigests) alike->digests.clear();
  return alike->digests[found(asked, set)] = recent.digest;
}

const Recording &Calls::recording(Asked &asked, const EntryCall &call, uint64_t digest) {
  auto recent = std::find_if(recent_.begin(), recent_.end(), [&](const Recent &each) {
    return each.call == &call && each.digest == digest;
  });
  if (recent == recent_.end()) {
    recent = recent_.begin() + static_cast<long>(next_recent_++ % recent_.size());
    Series::Settings all;
    for (const nvram::Setting &each : asked.settings_) all.push_back(&each);
    sim::Device::FirstAsked asked_for;
    *recent = {&call, digest, series_.raw(all, *call.entry, call.words, asked_for), {}};
  }
  if (!recent->run) {
    recent->run.emplace();
    static_cast<RawRecording &>(*recent->run) = std::move(recent->raw);
    readEvents(*recent->run);
  }
  return *recent->run;
}

}  // namespace orba::tool
