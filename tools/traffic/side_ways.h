// The ways of all packets from every side of a router.
#ifndef ORBA_TOOLS_TRAFFIC_SIDE_WAYS_H
#define ORBA_TOOLS_TRAFFIC_SIDE_WAYS_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "packets/diagram.h"
#include "packets/ways.h"
#include "tools/traffic/desk_router.h"

namespace orba::tool {

// What stands for the router itself where a side could.
inline constexpr char kRouter[] = "router";
inline constexpr char kLan[] = "lan";

// Sides that no rule tells apart: ports of one bridge with the same hosts behind them.
using Sides = std::vector<std::string>;
// All sides of some routers, those together that no rule of any of them tells apart.
std::vector<Sides> sidesOf(const std::vector<const DeskRouter *> &routers);

class SideWays {
 public:
  using Node = packets::Diagrams::Node;

  // Routers that are compared share their diagrams: equal sets are then equal nodes.
  SideWays(const DeskRouter &desk, packets::Diagrams &diagrams);

  const DeskRouter &desk() const { return desk_; }
  packets::Diagrams &diagrams() { return diagrams_; }
  // Throws BadArgument, with the sides that there are.
  const Side &side(const std::string &name) const;
  // The same, but for kRouter the router itself.
  const Side &sender(const std::string &name) const;
  packets::Ways &from(const Side &side);
  // The packets with which hosts behind a side begin something: IPv4 for the router's MAC address,
  // unmarked, in state new; of TCP those with SYN alone, of ICMP echo requests. Behind the LAN's
  // ports are the hosts of its network and of those that are routed to one of them, behind a WAN
  // those of any address; the router itself sends from any address of its own.
  Node beginnings(const Side &side);
  // Of those the packets that need no neighbour: from a WAN the ones from where a host of the
  // Internet can be, to the WAN's own address or to one behind the router to which the Internet
  // knows the way, in frames from whom no rule names. All others only somebody on the same wire
  // can send. The router sends from the address of the interface that it sends by.
  Node ordinary(const Side &side);
  // The same for hosts behind another port of the bridge that a side is a port of: in frames for
  // one station, which the bridge passes on without the router. None between other sides.
  Node frames(const Side &from, const Side &to);
  // The addresses that a host of the Internet can have.
  packets::IntervalSet outside(const Side &side) const;
  // The packets that there can be: with the fields that their protocol has, and in a state that
  // connections could have with such a packet.
  Node possible();
  // A function of packets that begin something: there is no text in them yet in which a filter of
  // web pages could find what it looks for.
  Node withoutText(Node function);
  // Ways::function() of those.
  Node function(const Side &side);
  // The same for some packets with places from 1 on, so that 0 is left for all others.
  Node placesFrom1(const Side &side, Node packets);
  // Packets that have an outcome as they arrive, at the address and port that it gives them; and
  // of all packets those that would arrive among some.
  Node arriving(const packets::Outcome &outcome, Node packets);
  Node arrivingAmong(const packets::Outcome &outcome, Node arrived);
  // The side that packets which leave by an interface get to: the first one that has it, of the
  // LAN's and the radio's ports the LAN; or the interface's name.
  std::string targetOf(uint64_t out) const;
  std::string targetOf(const Side &side) const;
  // Whom packets to a side can be for: what is routed there, but for the first and last address
  // of a network.
  packets::IntervalSet hostsOf(const Side &side) const;
  // A packet of a set of those, as ordinary as the set has one: what `orba trace` makes of a
  // question that says no more than it must, from a host of a network that is kept for examples or
  // one in the middle of the LAN.
  packets::Packet witness(const Side &side, Node set);
  // Whom a witness is from, where it matters to no rule.
  uint64_t ordinaryMac() const { return mac_; }

 private:
  // What no host has for its own: addresses of nobody, and the first and last of a network.
  packets::IntervalSet noHosts() const;
  packets::IntervalSet ownAddresses() const;
  Node fromItself();

  const DeskRouter &desk_;
  packets::Diagrams &diagrams_;
  packets::Chains chains_;
  const packets::IntervalSet named_macs_;
  const uint64_t mac_;
  Node possible_ = packets::Diagrams::kNone;
  std::map<std::string, std::unique_ptr<packets::Ways>> ways_;
  std::map<std::string, Node> beginnings_, functions_, places_;
};

}  // namespace orba::tool

#endif
