// The links of the five switch ports for the status page.
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "core/file.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr size_t kDigits = 8;

// The eight hex digits behind "value="; false when there are none.
bool registerValue(const char *reply, unsigned long &value) {
  const char *at = strstr(reply, "value=");
  if (at == nullptr) return false;
  at += strlen("value=");
  if (strncmp(at, "0x", 2) == 0) at += 2;
  char digits[kDigits + 1] = "";
  for (size_t i = 0; i < kDigits; i++) {
    if (!isxdigit(static_cast<unsigned char>(at[i]))) return false;
    digits[i] = at[i];
  }
  value = strtoul(digits, nullptr, 16);
  return true;
}

// From the highest port down: the link in the first byte, the second flag in
// the last one.
void describePorts(unsigned long value, Text<20> &pairs) {
  constexpr int kPorts = 5;
  unsigned links = value >> 24 & 0xFF;
  unsigned flags = value & 0xFF;
  for (int port = kPorts - 1; port >= 0; port--) {
    pairs.append(pairs.empty() ? "" : "/")
        .format("%u,%u", links >> (port + 1) & 1, flags >> port & 1);
  }
}

}  // namespace

}  // namespace orba

int getPortStatus(char *out, int, char **) {
  orba::Text<20> pairs;
  orba::Pipe pipe("switch reg r 80");
  if (pipe) {
    char reply[257];
    unsigned long value;
    pipe.readAll(reply);
    if (orba::registerValue(reply, value)) orba::describePorts(value, pairs);
  }
  orba::copyText(out, pairs.size(), pairs.text());
  return 1;
}
