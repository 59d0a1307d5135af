// Which switch port a station has been learnt on.
#ifndef ORBA_SWITCH_MAC_TABLE_H
#define ORBA_SWITCH_MAC_TABLE_H

#pragma GCC visibility push(hidden)
namespace orba {

struct MacSearch {
  enum End {
    kFinished,   // an invalid entry with the end flag: `port` is the answer
    kCancelled,  // the last valid entry was another station: nothing is known
    kExhausted,  // the table does not end
  };
  End end;
  int port;  // 1 to 4, or 0 when the station is not in the table
};

// Searches the switch's MAC table for a station, given as twelve lower-case hex
// digits. Needs switch_init.
MacSearch searchMacTable(const char *mac);

}  // namespace orba
#pragma GCC visibility pop

#endif
