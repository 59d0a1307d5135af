// Routers and packets as files, for a machine that is to play them and whoever judges them again.
#ifndef ORBA_TESTS_JUDGE_RECORD_H
#define ORBA_TESTS_JUDGE_RECORD_H

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "probe.h"
#include "program.h"

namespace judge {

// A situation with its packets and what a kernel made of them.
struct Record {
  uint64_t seed = 0;
  std::string tables;  // "legacy", "nft" or "machine"
  packets::Network network;
  std::vector<std::string> lines;
  std::map<size_t, std::string> refused;  // by a tool, and why; by the line's place
  size_t questions = 0;                   // fields of the packets behind kFields
  std::vector<Probe> probes;
  std::vector<Arrival> arrivals;  // none yet of what is to be played
};

void write(std::ostream &out, const Record &record);
bool read(std::istream &in, Record &record);

// What a machine needs besides, which has no translator.
struct Plan {
  Record record;
  std::vector<std::string> tables;  // of routes: "202 pf_office"
  Commands commands;                // of each line
};

void write(std::ostream &out, const Plan &plan);
bool read(std::istream &in, Plan &plan);

// What it answers: the record's `refused` and `arrivals`.
void writeAnswer(std::ostream &out, const Record &record);
bool readAnswer(std::istream &in, Record &record);

}  // namespace judge

#endif
