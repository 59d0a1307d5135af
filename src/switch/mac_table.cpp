#include "switch/mac_table.h"

#include <unistd.h>

#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr int kControl = 0x80;
constexpr uint32_t kStartSearch = 0x8004;
constexpr uint32_t kNextEntry = 0x8005;
constexpr uint32_t kEntryIsValid = 0x2000;
constexpr uint32_t kEndOfTable = 0x4000;

constexpr int kMacFirst = 0x84;  // four bytes
constexpr int kMacLast = 0x88;   // two bytes, in the upper half
constexpr int kPortMap = 0x8C;
constexpr int kPortMapShift = 4;
constexpr int kPorts = 4;

constexpr int kEntries = 2048;
constexpr int kPauseMicroseconds = 5000;
// An entry that is neither valid nor the end is asked for again and does not
// count as one. A minute of that for a single entry is a switch that does not
// work: without this bound it would hold the process for ever.
constexpr int kPollsForAnEntry = 60 * 1000000 / kPauseMicroseconds;

uint32_t readRegister(int reg) {
  uint32_t value = 0;
  reg_read(reg, &value);
  return value;
}

void pause() {
  usleep(kPauseMicroseconds);
}

// Their values are not used; the switch is always asked for them before a search.
void readPortSettings() {
  for (int reg = 0x100; reg <= 0x11C; reg += 4) readRegister(reg);
}

bool entryIs(const char *mac) {
  Text<16> entry;
  uint32_t first = readRegister(kMacFirst);
  uint32_t last = readRegister(kMacLast);
  return entry.format("%08x%04x", first, last >> 16).is(mac);
}

// The port of the present entry, the highest when it has several; `port` when
// it has none.
int portOfEntry(int port) {
  uint32_t map = readRegister(kPortMap) >> kPortMapShift;
  for (int i = 0; i < kPorts; i++) {
    if ((map >> i & 1) != 0) port = i + 1;
  }
  return port;
}

}  // namespace

MacSearch searchMacTable(const char *mac) {
  int port = 0;
  int polls_left = kPollsForAnEntry;
  readPortSettings();
  reg_write(kControl, kStartSearch);
  for (int entries_left = kEntries; entries_left > 0;) {
    uint32_t state = readRegister(kControl);
    if ((state & kEntryIsValid) == 0) {
      if ((state & kEndOfTable) != 0) return {MacSearch::kFinished, port};
      if (polls_left-- == 0) break;
      pause();
      continue;
    }
    polls_left = kPollsForAnEntry;
    if (entryIs(mac)) {
      port = portOfEntry(port);
    } else if ((state & kEndOfTable) != 0) {
      // Cancels an earlier match too, as designed.
      return {MacSearch::kCancelled, 0};
    }
    reg_write(kControl, kNextEntry);
    pause();
    entries_left--;
  }
  return {MacSearch::kExhausted, 0};
}

}  // namespace orba
