#include "fuzz/mutator.h"

#include "tools/catalog/sample_calls.h"

namespace orba::fuzz {

namespace {

constexpr size_t kMostLines = 200;
constexpr size_t kMostTexts = 4000;

// What a shell, a rule list, a number's reader or a buffer might stumble over.
const char *const kPieces[] = {";reboot",    "$(reboot)",  "`reboot`",
                               "|reboot",    "\nreboot\n", "&reboot",
                               ">X",         "<X",         "'",
                               "\"",         "\\",         "*",
                               "?",          "[a]",        "~",
                               "#",          "!",          "(",
                               ")",          "{a,b}",      " ",
                               " -j ACCEPT", "\t",         "$IFS",
                               "=",          ",",          ";",
                               ",,,,",       ";;",         ":",
                               "/",          ".",          "-",
                               "%s%n",       "",           "0",
                               "1",          "2",          "-1",
                               "65536",      "4294967296", "99999999999999999999",
                               "\xff",       "any",        "255.255.255.255"};

}  // namespace

Mutator::Mutator(const std::string &subsystem) : texts_(std::begin(kPieces), std::end(kPieces)) {
  texts_.emplace_back(80, 'A');
  lines_ = usualSituation();
  for (const tool::EntryPoint &entry : tool::entryPoints()) {
    if (entry.subsystem != subsystem) continue;
    for (const auto &words : tool::sampleCalls(entry)) {
      calls_.push_back({std::string("@") + entry.name, "", words});
    }
  }
}

void Mutator::learn(const Situation &situation, const Outcome &outcome) {
  for (const auto &name : outcome.asked) {
    if (known_.insert(name).second) keys_.push_back(name.second);
  }
  if (lines_.size() >= kMostTexts) return;
  for (const Line &line : situation) {
    lines_.push_back(line);
    texts_.push_back(line.value);
  }
}

// A value becomes another one, gets a piece put in somewhere, or loses one.
void Mutator::change(std::string &text, const Bytes &bytes) {
  switch (below(4)) {
    case 0:
      text = any(texts_);
      break;
    case 1:
      text.insert(below(text.size() + 1), kPieces[below(std::size(kPieces))]);
      break;
    case 2:
      text.insert(below(text.size() + 1), any(texts_));
      break;
    default:
      size_t size = text.size();
      text.resize(size + 64);
      auto *data = reinterpret_cast<uint8_t *>(text.data());
      text.resize(bytes(data, size, text.size()));
  }
}

Line Mutator::newLine() {
  size_t choice = below(8);
  if (choice < 3 && !calls_.empty()) return any(calls_);
  if (choice < 6 && !keys_.empty()) return {any(keys_), any(texts_), {}};
  if (!lines_.empty()) return any(lines_);
  return {"*", any(texts_), {}};
}

void Mutator::mutate(Situation &situation, unsigned seed, const Bytes &bytes) {
  random_.seed(seed);
  size_t changes = 1 + below(4);
  while (changes-- > 0) {
    size_t choice = below(8);
    if (situation.empty() || (choice < 3 && situation.size() < kMostLines)) {
      situation.insert(situation.begin() + static_cast<long>(below(situation.size() + 1)),
                       newLine());
      continue;
    }
    auto line = situation.begin() + static_cast<long>(below(situation.size()));
    if (choice == 3) {
      situation.erase(line);
    } else if (choice == 4) {
      std::swap(*line, situation[below(situation.size())]);
    } else if (line->isCall() && !line->words.empty()) {
      change(line->words[below(line->words.size())], bytes);
    } else {
      change(line->value, bytes);
    }
  }
}

Situation Mutator::cross(const Situation &a, const Situation &b, unsigned seed) {
  std::minstd_rand random(seed);
  Situation result;
  size_t head = random() % (a.size() + 1), tail = random() % (b.size() + 1);
  result.assign(a.begin(), a.begin() + static_cast<long>(head));
  result.insert(result.end(), b.begin() + static_cast<long>(tail), b.end());
  if (result.size() > kMostLines) result.resize(kMostLines);
  return result;
}

}  // namespace orba::fuzz
