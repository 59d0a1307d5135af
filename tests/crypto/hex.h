// Bytes as the hexadecimal text in which the standards print them.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

inline std::string hex(const unsigned char *bytes, size_t size) {
  std::string text;
  for (size_t i = 0; i < size; ++i) {
    char digits[3];
    snprintf(digits, sizeof(digits), "%02x", bytes[i]);
    text += digits;
  }
  return text;
}

inline const unsigned char *bytesOf(const std::string &text) {
  return reinterpret_cast<const unsigned char *>(text.data());
}
