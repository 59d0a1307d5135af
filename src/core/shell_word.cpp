#include "core/shell_word.h"

namespace orba {

namespace {

bool standsAsItIs(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         (c != '\0' && strchr("_@%+=:,./-", c) != nullptr);
}

bool allStandAsTheyAre(Slice value) {
  for (size_t i = 0; i < value.length; i++) {
    if (!standsAsItIs(value.begin[i])) return false;
  }
  return true;
}

}  // namespace

bool ShellWord::isPlain(const char *value) {
  return allStandAsTheyAre({value, strlen(value)});
}

ShellWord::ShellWord(Slice value) {
  if (!value.empty() && value.begin[0] == '-') {
    word_.append(kOption + 1);
    value = {value.begin + 1, value.length - 1};
  }
  quote(value);
}

void ShellWord::quote(Slice value) {
  if (allStandAsTheyAre(value)) {
    word_.append(value.begin, value.length);
    return;
  }
  word_.append("'");
  for (size_t i = 0; i < value.length; i++) {
    if (value.begin[i] == '\'') {
      word_.append("'\\''");
    } else {
      word_.append(&value.begin[i], 1);
    }
  }
  word_.append("'");
  // A cut word has lost its closing quote; it must not look like a short one.
  while (!word_.fits() && word_.length() < word_.size() - 1) word_.append("'");
}

}  // namespace orba
