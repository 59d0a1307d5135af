// Situations: what a device is like, and what is asked of it, a line each.
//
//   OperationMode=1            a setting; "[2]" and "[1]" lead to the other space
//   *=TEXT                     what all other settings hold
//   /proc/net/arp=TEXT         a file of the device; "/*" stands for all others
//   |arp -an=TEXT              what a command prints that has this in it
//   &eth2=ADDRESS MASK MAC     an interface
//   %ra0 0609=BYTES            what the radio's driver answers, by its request:
//                              an OID, "channel", "profile" or "counters"
//   $3500=7f                   a register of the switch, both in hexadecimal
//   $learn=020000000009 3      an address that the switch has seen on a port
//   $slow=3  $last=MAC PORT    looks that the next address takes; one with the end's flag
//   !desk   !console  !sockets  !memory  !refuse=PATH  !unstartable=COMMAND
//                              the device on the desk; what is broken
//   !switch  !leds  !radio=0609 11  !call=2f
//                              drivers that refuse, the radio's by OID and error; the
//                              call from here, in hexadecimal, that fails
//   @getGateway eth2.2         a call, its words separated by blanks
//   @wait 5000                 milliseconds that pass
//
// Texts and words are escaped as in a settings file, blanks in words too; \zHHH
// are so many zero bytes, and "" is a word without characters. A line
// that is none of these is left out, so any bytes are a situation.
#ifndef ORBA_FUZZ_SITUATION_H
#define ORBA_FUZZ_SITUATION_H

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sim/device.h"

namespace orba::fuzz {

// "\\", "\n", "\r", "\t", "\xHH" and "\zHHH".
std::string decoded(std::string_view text);
std::string encoded(std::string_view text);

struct Line {
  std::string key;                 // with its mark; "@getGateway" of a call
  std::string value;               // decoded
  std::vector<std::string> words;  // of a call, decoded

  bool isCall() const { return key[0] == '@'; }
};

using Situation = std::vector<Line>;

Situation readSituation(std::string_view text);
std::string print(const Situation &situation);
// All that a device usually has and says, in lines of a situation.
Situation usualSituation();

// What was given to the shell and should not have been, or anything else that
// must not happen; empty when all is well.
struct Outcome {
  std::vector<std::string> findings;
  std::vector<std::pair<std::string, bool>> lines;  // with whether it was piped
  std::set<std::pair<int, std::string>> asked;      // settings, with their space
};

// Plays the situation on a device of its own.
Outcome play(const Situation &situation);

}  // namespace orba::fuzz

#endif
