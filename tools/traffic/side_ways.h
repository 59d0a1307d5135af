// The ways of all packets from every side of a router.
#ifndef ORBA_TOOLS_TRAFFIC_SIDE_WAYS_H
#define ORBA_TOOLS_TRAFFIC_SIDE_WAYS_H

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "packets/diagram.h"
#include "packets/ways.h"
#include "tools/traffic/desk_router.h"

namespace orba::tool {

// What stands for the router itself where a side could.
inline constexpr char kRouter[] = "router";
inline constexpr char kLan[] = "lan";

bool isWan(const std::string &side);

class SideWays {
 public:
  using Node = packets::Diagrams::Node;

  // Routers that are compared share their diagrams: equal sets are then equal nodes.
  SideWays(const DeskRouter &desk, packets::Diagrams &diagrams);

  const DeskRouter &desk() const { return desk_; }
  packets::Diagrams &diagrams() { return diagrams_; }
  // Throws BadArgument, with the sides that there are.
  const Side &side(const std::string &name) const;
  packets::Ways &from(const Side &side);
  // The packets with which hosts behind a side begin something: IPv4 for the router's MAC address,
  // unmarked, in state new; of TCP those with SYN alone, of ICMP echo requests. Behind the LAN's
  // ports are the hosts of its network and of those that are routed to one of them, behind a WAN
  // those of any address.
  Node beginnings(const Side &side);
  // Of those the packets that need no neighbour: from a WAN the ones from where a host of the
  // Internet can be, to the WAN's own address or to one behind the router to which the Internet
  // knows the way. All others only somebody on the same wire can send.
  Node ordinary(const Side &side);
  // The addresses that such a host can have.
  packets::IntervalSet outside(const Side &side) const;
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
  // What IP sees packets from a side come in by, and leave by when they are for it: its
  // interface, or the bridge that this is a port of.
  const packets::Interface &own(const Side &side) const;
  // The side that packets which leave by an interface get to: the first one that has it, of the
  // LAN's and the radio's ports the LAN; or the interface's name.
  std::string targetOf(uint64_t out) const;
  std::string targetOf(const Side &side) const;
  // Whom packets to a side can be for: what is routed there, but for the first and last address
  // of a network.
  packets::IntervalSet hostsOf(const Side &side) const;
  // The addresses whose route, for packets without a mark, is as wanted.
  packets::IntervalSet routed(const std::function<bool(const packets::Route &)> &wanted) const;
  // A packet of a set of those, as ordinary as the set has one: from a high port, 60 bytes long,
  // for the router itself.
  packets::Packet witness(const Side &side, Node set);

 private:
  // What no host has for its own: addresses of nobody, and the first and last of a network.
  packets::IntervalSet noHosts() const;

  const DeskRouter &desk_;
  packets::Diagrams &diagrams_;
  packets::Chains chains_;
  std::map<std::string, std::unique_ptr<packets::Ways>> ways_;
  std::map<std::string, Node> beginnings_, functions_, places_;
};

}  // namespace orba::tool

#endif
