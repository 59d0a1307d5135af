#include "tools/text/near_names.h"

#include <algorithm>
#include <cctype>

namespace orba::tool {

namespace {

char lower(char c) {
  return static_cast<char>(tolower(static_cast<unsigned char>(c)));
}

// How many letters must be added, left out or changed, whatever their case.
size_t distance(const std::string &a, const std::string &b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); j++) row[j] = j;
  for (size_t i = 1; i <= a.size(); i++) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); j++) {
      size_t changed = diagonal + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

std::string digitsOf(const std::string &text) {
  std::string digits;
  for (char c : text) digits += c >= '0' && c <= '9' ? std::string(1, c) : "";
  return digits;
}

bool contains(const std::string &text, const std::string &part) {
  return std::search(text.begin(), text.end(), part.begin(), part.end(),
                     [](char a, char b) { return lower(a) == lower(b); }) != text.end();
}

}  // namespace

std::vector<std::string> nearNames(const std::string &typed,
                                   const std::vector<std::string> &names) {
  std::vector<std::pair<size_t, std::string>> near;
  for (const std::string &name : names) {
    const bool part = typed.size() > 2 && contains(name, typed);
    const size_t steps = part ? 1 : distance(typed, name);
    if (steps <= 1 + typed.size() / 4) near.emplace_back(steps, name);
  }
  std::stable_sort(near.begin(), near.end(),
                   [](const auto &a, const auto &b) { return a.first < b.first; });
  constexpr size_t kMost = 8;
  std::vector<std::string> nearest;
  for (const auto &[steps, name] : near) {
    const bool is_new = std::find(nearest.begin(), nearest.end(), name) == nearest.end();
    if (is_new && nearest.size() < kMost) nearest.push_back(name);
  }
  return nearest;
}

std::string misspeltName(const std::string &typed, const std::vector<std::string> &names) {
  constexpr size_t kLeast = 5, kLong = 8;  // of shorter names too many are near each other
  if (typed.size() < kLeast) return "";
  size_t most = typed.size() < kLong ? 1 : 2;
  std::string nearest;
  for (const std::string &name : names) {
    const size_t steps = distance(typed, name);
    if (steps > most || digitsOf(typed) != digitsOf(name)) continue;
    if (nearest.empty() || steps < most) nearest = name, most = steps;
  }
  return nearest;
}

std::string didYouMean(const std::string &typed, const std::vector<std::string> &names,
                       const std::string &otherwise) {
  std::string text;
  for (const std::string &name : nearNames(typed, names)) {
    text += (text.empty() ? "; did you mean " : ", ") + name;
  }
  return text.empty() ? "; " + otherwise : text + "?";
}

}  // namespace orba::tool
