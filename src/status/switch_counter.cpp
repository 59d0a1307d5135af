// Registers and counters of the Ethernet switch, read with the switch tool.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "core/command.h"
#include "core/file.h"
#include "core/shell_word.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

long long fromHex(const char *text) {
  return strtoll(text, nullptr, 16);
}

// "... value=1f4": the number behind the first '=' after the word.
long long valueIn(const char *reply) {
  const char *value = strstr(reply, "value");
  const char *equals = value != nullptr ? strchr(value, '=') : nullptr;
  return equals != nullptr ? fromHex(equals + strspn(equals, "=")) : 0;
}

// Adds without overflow, whatever the tool has printed.
template <size_t N>
long long sumOf(const char *const (&registers)[N]) {
  unsigned long long sum = 0;
  for (const char *reg : registers) sum += static_cast<unsigned long long>(reedSwitchReg(reg));
  return static_cast<long long>(sum);
}

}  // namespace

}  // namespace orba

long long reedSwitchReg(const char *reg) {
  constexpr long long kUnreadable = -1;
  orba::Text<orba::kCommandSize> command;
  command.format("switch reg r %s", orba::ShellWord(reg).text());
  if (!orba::mayRun(command)) return kUnreadable;
  orba::Pipe pipe(command.text());
  if (!pipe) return kUnreadable;
  char line[64];
  return pipe.readLine(line) ? orba::valueIn(line) : 0;
}

long long getSwitchPacket(const char *unicast, const char *multicast, const char *broadcast) {
  return orba::sumOf({unicast, multicast, broadcast});
}

long long getSwitchRxError(const char *alignment, const char *crc, const char *undersize,
                           const char *fragments, const char *oversize, const char *jabbers) {
  return orba::sumOf({alignment, crc, undersize, fragments, oversize, jabbers});
}

long long getSwitchBytes(const char *low, const char *high) {
  orba::Text<24> joined;
  // The high half is read once more for its value, and the low half stands
  // behind it without leading zeros. Both are meant: the pages show it so.
  if (reedSwitchReg(high) != 0) joined.format("%x", static_cast<uint32_t>(reedSwitchReg(high)));
  joined.format("%x", static_cast<uint32_t>(reedSwitchReg(low)));
  return orba::fromHex(joined.text());
}
