// 32-bit words as SHA-1 reads and writes them: the high byte first.
#pragma once

#include <cstdint>

namespace orba {

constexpr uint32_t loadBigEndian(const unsigned char bytes[4]) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

constexpr void storeBigEndian(unsigned char bytes[4], uint32_t word) {
  bytes[0] = static_cast<unsigned char>(word >> 24);
  bytes[1] = static_cast<unsigned char>(word >> 16);
  bytes[2] = static_cast<unsigned char>(word >> 8);
  bytes[3] = static_cast<unsigned char>(word);
}

}  // namespace orba
