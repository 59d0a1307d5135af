#include "tools/orba/svg.h"

#include <cstdint>

namespace orba::tool {

namespace {

std::string escaped(const char *mark, uint32_t number, int digits) {
  static const char kDigits[] = "0123456789abcdef";
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

std::string xmlText(const std::string &text) {
  std::string xml;
  for (const std::string &character : charactersOf(text)) {
    if (character == "&") {
      xml += "&amp;";
    } else if (character == "<") {
      xml += "&lt;";
    } else if (character == ">") {
      xml += "&gt;";
    } else if (character == "\"") {
      xml += "&quot;";
    } else if (character == "'") {
      xml += "&#39;";
    } else {
      xml += character;
    }
  }
  return xml;
}

std::vector<std::string> wrapped(const std::string &text, size_t width, size_t most) {
  std::vector<std::string> rest = charactersOf(text), lines;
  auto at = [&](size_t i) { return i < rest.size() ? rest[i] : ""; };
  do {
    size_t end = rest.size(), blank = 0, option = 0;
    for (size_t i = 1; i <= width && end > width; i++) {
      if (at(i) != " ") continue;
      blank = i;
      if (at(i + 1) == "-" || at(i + 1) == "!") option = i;
    }
    // A short line is worth it when an option stays with its value.
    if (end > width) end = option >= width / 3 ? option : blank != 0 ? blank : width;
    lines.emplace_back();
    for (size_t i = 0; i < end; i++) lines.back() += rest[i];
    if (at(end) == " ") end++;
    rest.erase(rest.begin(), rest.begin() + static_cast<long>(end));
  } while (!rest.empty() && lines.size() < most);
  if (!rest.empty()) lines.back() += "…";
  return lines;
}

}  // namespace orba::tool
