// Hexadecimal text to bytes, for a key that is given as 64 digits.
#include "orba_util.h"

unsigned char BtoH(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<unsigned char>(digit - '0');
  if (digit >= 'A' && digit <= 'F') return static_cast<unsigned char>(digit - 'A' + 10);
  if (digit >= 'a' && digit <= 'f') return static_cast<unsigned char>(digit - 'a' + 10);
  return 255;
}

void AtoH(const char *hex, unsigned char *out, int n) {
  for (int i = 0; i < n; ++i, hex += 2) {
    // Added, not joined, and unchecked: "0z" is 0xFF and "zz" is 0xEF, on purpose.
    out[i] = static_cast<unsigned char>((BtoH(hex[0]) << 4) + BtoH(hex[1]));
  }
}
