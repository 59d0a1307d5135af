// A model of the kernel's packet filter: what iptables and ebtables commands
// make of the chains, without the tools.
#ifndef ORBA_SIM_PACKET_FILTER_H
#define ORBA_SIM_PACKET_FILTER_H

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "sim/device.h"

namespace sim {

class PacketFilter {
 public:
  struct Rule {
    std::string text;    // as it was given, without table, command and chain
    std::string target;  // what stands behind -j, empty for none
    size_t line = 0;     // which of the lines that were run made it, from 0
    size_t part = 0;     // and which of that line's commands, from 0
  };
  struct Chain {
    std::string policy;  // of a built-in chain, or of any ebtables chain
    bool built_in = false;
    std::vector<Rule> rules;
  };
  using Table = std::map<std::string, Chain>;

  using Programs = std::map<std::string, std::map<std::string, Table>>;

  // Both programs' tables as the kernel has them at first.
  PacketFilter();

  // Every command of a line. Commands of other programs are passed over; a
  // command that the kernel would refuse changes nothing.
  void run(const std::string &line);
  void run(const std::vector<std::string> &lines);

  // The rules of a chain, nothing when there is no such chain.
  std::vector<std::string> rules(const std::string &program, const std::string &table,
                                 const std::string &chain) const;
  bool has(const std::string &program, const std::string &table, const std::string &chain) const;
  const Programs &programs() const { return programs_; }

  // The chains in the order in which packets meet them, each jump followed by
  // what it leads to; below each rule what `words`, when they are given, say of its text.
  using Words = std::string (*)(const std::string &rule);
  void print(std::ostream &out, Words words = nullptr) const;

 private:
  void runCommand(const std::vector<std::string> &words);
  void change(Table &table, const std::vector<std::string> &words);
  void printChain(std::ostream &out, const Table &table, const std::string &name, Words words,
                  int depth, std::vector<std::string> &printed) const;

  Programs programs_;
  size_t lines_run_ = 0;
  size_t part_ = 0;  // of the line that is run
};

}  // namespace sim

#endif
