#include "terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace nvram {
namespace {

std::string escaped(const char *mark, uint32_t number, int digits) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text = mark;
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) text += kDigits[number >> shift & 15];
  return text;
}

// What is not seen, or makes other text be seen otherwise.
bool isUnseen(uint32_t c) {
  return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0xad || c == 0x61c || c == 0xfeff ||
         (c >= 0x200b && c <= 0x200f) || (c >= 0x2028 && c <= 0x202e) ||
         (c >= 0x2060 && c <= 0x206f) || (c >= 0xfff9 && c <= 0xfffb) || (c & 0xfffe) == 0xfffe ||
         (c >= 0xe0000 && c <= 0xe007f);
}

// How many bytes the character at `at` has, 0 when it is none.
size_t lengthOf(const std::string &text, size_t at, uint32_t &character) {
  auto byte = [&](size_t i) { return i < text.size() ? static_cast<uint8_t>(text[i]) : 0u; };
  uint32_t first = byte(at);
  character = first;
  if (first < 0x80) return 1;
  size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc2 || first > 0xf4) return 0;
  character = first & (0x7fu >> length);
  for (size_t i = 1; i < length; i++) {
    if ((byte(at + i) & 0xc0) != 0x80) return 0;
    character = character << 6 | (byte(at + i) & 0x3f);
  }
  bool too_long = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  bool surrogate = character >= 0xd800 && character <= 0xdfff;
  return too_long || surrogate || character > 0x10ffff ? 0 : length;
}

// With what is not seen spelled out, but for the characters in `between`, for each of
// which `shown` is called.
template <typename Shown>
std::string spelledOut(const std::string &text, const char *between, Shown shown) {
  std::string spelled;
  for (size_t at = 0; at <= text.size();) {
    size_t end = std::min(text.find_first_of(between, at), text.size());
    for (const std::string &c : charactersOf(text.substr(at, end - at))) spelled += c;
    if (end < text.size()) spelled += shown(text[end]);
    at = end + 1;
  }
  return spelled;
}

}  // namespace

std::vector<std::string> charactersOf(const std::string &text) {
  std::vector<std::string> characters;
  auto show = [&](const char *mark, uint32_t number, int digits) {
    for (char c : escaped(mark, number, digits)) characters.emplace_back(1, c);
  };
  for (size_t at = 0, length; at < text.size(); at += length) {
    uint32_t character;
    length = lengthOf(text, at, character);
    if (length == 0) {
      show("\\x", static_cast<uint8_t>(text[at]), 2);
      length = 1;
    } else if (!isUnseen(character)) {
      characters.push_back(text.substr(at, length));
    } else if (character < 0x80) {
      show("\\x", character, 2);
    } else {
      show("\\U", character, 8);
    }
  }
  return characters;
}

std::string visible(const std::string &text) {
  return spelledOut(text, "\n", [](char) { return "\\n"; });
}

std::string forReader(const std::string &lines, int descriptor) {
  if (isatty(descriptor) == 0) return lines;
  return spelledOut(lines, "\n\t", [](char between) { return std::string(1, between); });
}

}  // namespace nvram
