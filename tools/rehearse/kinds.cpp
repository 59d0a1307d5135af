#include "tools/rehearse/kinds.h"

#include <algorithm>
#include <cctype>

#include "tools/catalog/settings.h"
#include "tools/play/difference.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// A longer one is cut.
constexpr size_t kMostOfKind = 400;
// Less can be said of a number with fewer digits: it may be anything, but as a port, which the
// library has none of by itself.
constexpr size_t kTelling = 2;
// What a rule has for an address that it does not care for.
constexpr std::string_view kAnyAddress = "any/0";

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isOfWord(char c) {
  return isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.' || c == '-' ||
         c == '@';
}

bool isNumber(std::string_view word) {
  return std::all_of(word.begin(), word.end(), isDigit);
}

// "192.168.1.1"; what stands for all, none or a group is not somebody's.
bool isAddress(std::string_view word) {
  size_t dots = 0, digits = 0;
  for (char c : word) {
    if (c == '.') {
      if (digits == 0) return false;
      dots++;
      digits = 0;
    } else if (!isDigit(c) || ++digits > 3) {
      return false;
    }
  }
  return dots == 3 && digits > 0 && !word.starts_with("0.") && !word.starts_with("127.") &&
         !word.starts_with("255.") && !word.starts_with("22") && !word.starts_with("23");
}

// "00:0C:43:28:60:2A" at the beginning of a text.
bool startsWithMac(std::string_view text) {
  if (text.size() < 17) return false;
  for (size_t i = 0; i < 17; i++) {
    const bool fits = i % 3 == 2 ? text[i] == ':' || text[i] == '-'
                                 : isxdigit(static_cast<unsigned char>(text[i])) != 0;
    if (!fits) return false;
  }
  return text.size() == 17 || !isOfWord(text[17]);
}

bool isWanInterface(std::string_view word) {
  if (word.starts_with("ppp")) return word.size() > 3 && isNumber(word.substr(3));
  return word.starts_with("eth2.") && word != "eth2.1" && isNumber(word.substr(5));
}

bool takesPort(std::string_view option) {
  return option == "--dport" || option == "--sport";
}

template <typename Told>
void forWords(std::string_view text, const Told &told) {
  for (size_t begin = 0; begin < text.size();) {
    if (!isOfWord(text[begin])) {
      begin++;
      continue;
    }
    size_t end = begin;
    while (end < text.size() && isOfWord(text[end])) end++;
    told(text.substr(begin, end - begin));
    begin = end;
  }
}

// Names that commands have of their own.
bool isCommon(std::string_view word) {
  static const std::unordered_set<std::string_view> kCommon = {
      "tcp", "udp", "icmp", "all",  "any",    "TCP",  "UDP", "ICMP",
      "WAN", "LAN", "both", "none", "ACCEPT", "DROP", "wan", "lan"};
  return kCommon.count(word) != 0;
}

// Whether a value is one of a few that the library knows.
bool isChoice(const nvram::Setting &setting) {
  const SettingDescription *description = descriptionOf(setting.key, setting.space);
  return description != nullptr &&
         (description->form.kind == Form::kChoice || !description->form.values().empty());
}

// A command that carries a record, without what it has of it: its options with such values, and
// the protocol, are "...". So the rules of a list are one kind, whatever its records hold.
std::string withoutRecord(const std::string &command) {
  const std::vector<std::string> words = splitAt(command, ' ');
  std::vector<std::string> left;
  for (size_t i = 0; i < words.size(); i++) {
    if (words[i].empty()) continue;
    const bool option = words[i].size() > 1 && words[i][0] == '-' && i + 1 < words.size();
    if (!option || (words[i] != "-p" && words[i + 1].find('<') == std::string::npos)) {
      left.push_back(words[i]);
      continue;
    }
    i++;
    if (left.empty() || left.back() != "...") left.emplace_back("...");
  }
  return joined(left, ' ');
}

void addEdits(const Edits &edits, const std::string &heading, const OwnWords &words,
              std::set<std::string> &kinds) {
  std::set<std::string> gone, come;
  for (const Edit &edit : edits) {
    if (edit.kind == Edit::kKept) continue;
    const std::string kind = words.generalised(heading + edit.text);
    (edit.kind == Edit::kRemoved ? gone : come).insert(kind);
  }
  for (const std::string &kind : gone) {
    kinds.insert((come.erase(kind) != 0 ? "~ " : "- ") + kind);
  }
  for (const std::string &kind : come) kinds.insert("+ " + kind);
}

}  // namespace

OwnWords::OwnWords(const std::vector<nvram::Setting> &settings) {
  for (const nvram::Setting &setting : settings) {
    if (setting.value.size() < kTelling || isChoice(setting)) continue;
    forWords(setting.value, [&](std::string_view word) {
      if (word.size() >= kTelling && !isCommon(word)) words_.emplace(word);
    });
  }
}

std::string OwnWords::generalised(std::string_view line) const {
  std::string text;
  bool begins = true;       // a word
  std::string_view option;  // that it may be the value of
  for (size_t at = 0; at < line.size();) {
    if (begins && startsWithMac(line.substr(at))) {
      text += "<mac>";
      at += 17;
      continue;
    }
    if (begins && line.substr(at).starts_with(kAnyAddress)) {
      text += "<address>";
      at += kAnyAddress.size();
      continue;
    }
    if (!isOfWord(line[at])) {
      text += line[at++];
      begins = true;
      continue;
    }
    size_t end = at;
    while (end < line.size() && isOfWord(line[end])) end++;
    const std::string word(line.substr(at, end - at));
    const bool short_port = word.size() < kTelling && takesPort(option) && isNumber(word);
    if (isAddress(word)) {
      text += "<address>";
    } else if (isWanInterface(word)) {
      text += "<wan>";
    } else if (short_port || words_.count(word) != 0) {
      text += isNumber(word) ? "<number>" : "<text>";
    } else {
      text += word;
    }
    const bool goes_on = end < line.size() && line[end] == ':';  // a range
    if (!goes_on) option = line.substr(at, end - at);
    at = end;
    begins = false;
  }
  if (text.find(';') != std::string::npos) {
    std::vector<std::string> parts = splitAt(text, ';');
    parts.erase(std::unique(parts.begin(), parts.end()), parts.end());
    text = joined(parts, ';');
  }
  if (text.find('<') != std::string::npos) text = withoutRecord(text);
  if (text.size() > kMostOfKind) text = text.substr(0, kMostOfKind) + "...";
  const bool plain =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7f; });
  return plain ? text : visible(text);
}

std::set<std::string> kindsOf(const Recording &before, const Recording &after,
                              const OwnWords &words) {
  const Difference difference = differenceOf(before, after);
  std::set<std::string> kinds;
  addEdits(difference.commands, "", words, kinds);
  addEdits(difference.writes, "", words, kinds);
  for (const FileDifference &file : difference.files) {
    addEdits(file.lines, file.path + ": ", words, kinds);
  }
  addEdits(difference.others, "", words, kinds);
  return kinds;
}

}  // namespace orba::tool
