// The room tools/rehearse: a change of the library or of settings, tried on every configuration
// that there is: who makes the calls, what differs, which configurations have that in common,
// how little shows it, and the report.
//
// Calls of entry points with one configuration after the other, and what names their outcomes.
#ifndef ORBA_TOOLS_REHEARSE_CALLS_H
#define ORBA_TOOLS_REHEARSE_CALLS_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/play/series.h"

namespace orba::tool {

// A call of an entry point, for whatever settings.
struct EntryCall {
  const EntryPoint *entry;
  std::vector<std::string> words;
  std::string text;  // "getIfIp br0", as on a command line
};

// Reads such a text. Throws BadArgument.
EntryCall entryCall(const std::string &text);
std::string callText(const std::string &entry, const std::vector<std::string> &words);
// Those of all entry points that can be called without words, in the order of the table.
const std::vector<EntryCall> &wordlessCalls();
// The one of an entry point; null where that needs words, or there is none.
const EntryCall *wordlessCall(const std::string &name);

// Names all that a call did and answered, in 16 hexadecimal digits: the first of the SHA-1 of
// the value returned, the number of answers and the answers, the number of things done and each
// with its kind, the number of files and each with its path; numbers in decimal digits, and
// behind each text and number a NUL. What it asked for and when it did things is no part of it.
std::string digestOf(const RawRecording &raw);
// The same as a number, and the digits of one.
uint64_t digestNumber(const RawRecording &raw);
std::string digestText(uint64_t digest);

// A configuration as Calls sees it.
class Asked {
 public:
  explicit Asked(const std::vector<nvram::Setting> &settings) : settings_(settings) {}
  const std::vector<nvram::Setting> &settings() const { return settings_; }

 private:
  friend class Calls;
  const std::vector<nvram::Setting> &settings_;
  std::vector<size_t> names_;     // the numbers of the settings' names
  std::vector<uint64_t> values_;  // their numbers, by those of the names; 0 for none
  std::vector<uint64_t> found_;   // by the numbers of sets of names; 0 where nobody has asked yet
  size_t times_forgotten_ = 0;    // when it had those numbers
};

class Calls {
 public:
  explicit Calls(Prepare prepare) : series_(std::move(prepare)) {}

  Recording record(const std::vector<nvram::Setting> &settings, const EntryPoint &entry,
                   const std::vector<std::string> &words = {}, long long ticks = 0) {
    return series_.record(settings, entry, words, ticks);
  }

  // Of a call. It is not made when an earlier one found the same for all that it asked for: then it
  // did the same. The call is known by its place.
  uint64_t digest(Asked &asked, const EntryCall &call);
  // The call of which digest() has given that digest; until the next call.
  const Recording &recording(Asked &asked, const EntryCall &call, uint64_t digest);

 private:
  struct Recent {
    const EntryCall *call = nullptr;
    uint64_t digest = 0;
    RawRecording raw;
    std::optional<Recording> run;  // the same, once somebody has asked for it
  };
  using Names = std::vector<size_t>;
  // Calls that asked for the same set of settings: their digests, by what they found.
  struct Alike {
    size_t names;
    std::unordered_map<uint64_t, uint64_t> digests;
  };
  struct Known {
    std::vector<Alike> alike;
    std::vector<bool> asks;  // by the number of a name: whether any call did
  };
  struct Hash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  using Numbers = std::unordered_map<std::string, size_t, Hash, std::equal_to<>>;

  size_t numberOf(int space, std::string_view key);
  size_t numberOf(const Names &names);
  uint64_t numberOf(const std::string &value);
  void readNumbers(Asked &asked);
  void forgetTooMany();
  uint64_t found(Asked &asked, size_t names) const;
  RawRecording makeCall(Asked &asked, const EntryCall &call, Known &known, Names &names);

  Series series_;
  std::array<Numbers, nvram::kLastSpace + 1> numbers_;  // of settings, by space
  size_t names_ = 0;
  std::unordered_map<std::string, uint64_t> value_numbers_;  // of short ones
  std::map<Names, size_t> set_numbers_;
  std::vector<const Names *> sets_;  // by their numbers
  size_t times_forgotten_ = 0;       // all of that
  std::unordered_map<const EntryCall *, Known> known_;
  std::array<Recent, 2> recent_;  // one for each of two that are compared
  size_t next_recent_ = 0;
};

}  // namespace orba::tool

#endif
