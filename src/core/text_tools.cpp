// Stripping and tokenising text in place.
#include <cctype>
#include <cstring>

#include "orba_util.h"

namespace {

constexpr char kBlanks[] = " \t\n";

}  // namespace

int trim(char *text) {
  size_t length = strlen(text);
  size_t leading = strspn(text, kBlanks);
  if (leading == length) return 0;

  size_t end = length;
  while (strchr(kBlanks, text[end - 1]) != nullptr) end--;
  size_t kept = end - leading;
  if (leading > 0) {
    memmove(text, text + leading, kept);
    text[kept] = '\0';
    return static_cast<int>(kept);
  }
  text[end] = '\0';
  return static_cast<int>(length) - 1;
}

char *getField(char *text, const char *delims, int n) {
  char *token = strtok(text, delims);
  for (; token != nullptr && n > 0; n--) token = strtok(nullptr, delims);
  return token != nullptr && isdigit(static_cast<unsigned char>(*token)) ? token : nullptr;
}
