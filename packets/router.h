// What a router's commands have made of it: the chains of both packet filters, interfaces and
// routes, and what of the commands had no effect or an effect that nobody can foresee.
//
//   Router router(network);
//   router.run("iptables -A INPUT ! -i br+ -j DROP", 0);
#ifndef ORBA_PACKETS_ROUTER_H
#define ORBA_PACKETS_ROUTER_H

#include <compare>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "packets/network.h"
#include "packets/rule.h"

namespace packets {

struct Chain {
  bool built_in = false;
  Target::Kind policy = Target::kReturn;  // what becomes of a packet at its end
  size_t policy_command = Route::kNoCommand;
  std::vector<Rule> rules;
};

struct Place {  // of a chain
  enum Program { kIptables, kEbtables };
  Program program = kIptables;
  std::string table, chain;

  auto operator<=>(const Place &) const = default;
};

// A rule, by its chain and its place there from 0; kPolicy for the end of the chain.
struct RuleAt {
  static constexpr size_t kPolicy = SIZE_MAX;
  Place place;
  size_t rule = kPolicy;

  auto operator<=>(const RuleAt &) const = default;
};

// A command that the tools would not carry out, or that the model does not know.
struct Refusal {
  size_t command;
  std::string words;  // the command
  std::string why;    // "22:21: the first is above the last"
  // Whether a chain, a rule or a route is missing because of it. Deleting what is not there
  // and making what is there already miss nothing.
  bool missing;
};

class Router {
 public:
  explicit Router(Network network);

  // Carries out every command of a line, as the tools of the device would. `command` is what
  // rules and refusals are known by. nat.sh is what the lab's is: it gives LAN_NAT_CHAIN a
  // MASQUERADE for every interface towards a WAN that is no port of a bridge. What the DMZ
  // program does with the packets that it is given is not known to anybody here.
  void run(const std::string &line, size_t command);

  // The router without one of its rules; those behind it move up.
  Router without(const RuleAt &rule) const;

  // Null for none.
  const Chain *chain(const Place &place) const;
  const std::map<Place, Chain> &chains() const { return chains_; }
  const Network &network() const { return network_; }
  // What the questions are about that nobody can answer: "--limit 1/s". The field of the first
  // is kFields.
  const std::vector<std::string> &unknowns() const { return unknowns_; }
  const std::vector<Refusal> &refusals() const { return refusals_; }

 private:
  using Words = std::vector<std::string>;

  void runCommand(const Words &words, size_t command);
  void runNatScript(size_t command);
  void runDmzProgram(const Words &words, size_t command);
  // A command of iptables or ebtables; sets `missing` when something is, for its being refused.
  Refused change(Place::Program program, const Words &words, size_t command, bool &missing);
  Refused read(const Place &place, const Words &words, size_t command, Rule &rule);
  bool leadsTo(const Place &from, const std::string &chain) const;
  void readAllAgain();

  std::map<Place, Chain> chains_;
  Network network_;
  std::vector<std::string> unknowns_;
  std::map<std::pair<std::string, size_t>, FieldId> questions_;
  std::vector<Refusal> refusals_;
};

}  // namespace packets

#endif
