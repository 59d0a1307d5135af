#include "kernel.h"

#include <net/if.h>  // before the kernel's own, which leave out what it has

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <linux/if_pppox.h>
#include <linux/if_tun.h>
#include <linux/neighbour.h>
#include <linux/ppp-ioctl.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "program.h"

#ifndef SO_RCVMARK
#define SO_RCVMARK 75
#endif

namespace judge {

namespace {

using packets::Packet;

constexpr size_t kEthernetHeader = 14;
// What stands before the packet in a frame of a PPPoE session (RFC 2516 and 1661).
constexpr size_t kSessionHeader = 8;
constexpr uint64_t kProvider = 0x020300000001;
constexpr uint16_t kHostsSession = 0x7777;  // of hosts that dial through the router
// Our packets set out with this; what the router makes itself, with another.
constexpr uint8_t kHops = 64, kOwnHops = 200;
constexpr uint64_t kNowhere = packets::kNoInterface;

// As a restore program reads it.
std::string lineOf(const Words &words, size_t from) {
  std::string line;
  for (size_t i = from; i < words.size(); i++) {
    const bool plain = !words[i].empty() && words[i].find_first_of(" \"'\\\t") == std::string::npos;
    line += (line.empty() ? "" : " ");
    line += plain ? words[i] : '"' + words[i] + '"';
  }
  return line;
}

// ---- what finds nothing to do ----

// As much of the chains as tells which commands the tools refuse for what is there already, or
// is not there. Such a line would end a restore program.
class Chains {
 public:
  explicit Chains(const Words &built_in) {
    for (const std::string &name : built_in) chains_[name] = {};
  }

  // Whether a command, without its table, finds what it speaks of; makes its change.
  bool takes(const Words &words) {
    if (words.size() < 2) return false;
    const std::string &verb = words[0], &name = words[1];
    auto chain = chains_.find(name);
    if (verb == "-N") return chains_.try_emplace(name).second;
    if (chain == chains_.end()) return false;
    if (verb == "-F") return chain->second.clear(), true;
    if (verb == "-P") return true;
    if (verb == "-X") {
      for (const auto &[other, rules] : chains_) {
        for (const Words &rule : rules) {
          if (std::find(rule.begin(), rule.end(), name) != rule.end()) return false;
        }
      }
      return chain->second.empty() ? (chains_.erase(chain), true) : false;
    }
    Words rule(words.begin() + 2, words.end());
    if (verb == "-I" && !rule.empty() && isdigit(rule[0][0])) rule.erase(rule.begin());
    if (verb == "-D") {
      auto found = std::find(chain->second.begin(), chain->second.end(), rule);
      return found != chain->second.end() ? (chain->second.erase(found), true) : false;
    }
    if (verb == "-A") chain->second.push_back(rule);
    if (verb == "-I") chain->second.insert(chain->second.begin(), rule);
    return true;
  }

 private:
  std::map<std::string, std::vector<Words>> chains_;
};

const std::map<std::string, Words> kIptablesChains = {
    {"filter", {"INPUT", "FORWARD", "OUTPUT"}},
    {"nat", {"PREROUTING", "INPUT", "OUTPUT", "POSTROUTING"}}};
const std::map<std::string, Words> kEbtablesChains = {
    {"filter", {"INPUT", "FORWARD", "OUTPUT"}},
    {"nat", {"PREROUTING", "OUTPUT", "POSTROUTING"}},
    {"broute", {"BROUTING"}}};

// The table of a command, whose "-t TABLE" is taken out.
std::string takeTable(Words &words) {
  auto option = std::find(words.begin(), words.end(), "-t");
  if (option == words.end() || option + 1 == words.end()) return "filter";
  const std::string table = option[1];
  words.erase(option, option + 2);
  return table;
}

// ---- bytes ----

void put16(uint8_t *to, uint64_t value) {
  to[0] = static_cast<uint8_t>(value >> 8);
  to[1] = static_cast<uint8_t>(value);
}
void put32(uint8_t *to, uint64_t value) {
  put16(to, value >> 16);
  put16(to + 2, value);
}
void putMac(uint8_t *to, uint64_t mac) {
  put16(to, mac >> 32);
  put32(to + 2, mac);
}
uint16_t get16(const uint8_t *from) {
  return static_cast<uint16_t>(from[0] << 8 | from[1]);
}
uint32_t get32(const uint8_t *from) {
  return static_cast<uint32_t>(get16(from)) << 16 | get16(from + 2);
}

uint32_t sum(const uint8_t *bytes, size_t size, uint32_t start = 0) {
  for (size_t i = 0; i + 1 < size; i += 2) start += get16(bytes + i);
  if (size % 2 != 0) start += static_cast<uint32_t>(bytes[size - 1]) << 8;
  return start;
}
uint16_t checksum(uint32_t all) {
  while (all >> 16 != 0) all = (all & 0xffff) + (all >> 16);
  return static_cast<uint16_t>(~all);
}

// The headers in front of what a packet carries.
size_t headersOf(const Packet &packet) {
  switch (packet[packets::kProtocol]) {
    case packets::kTcp:
      return 40 + (packet[packets::kSegmentSize] != 0 ? 4 : 0);
    default:
      return 28;
  }
}

// Where a packet begins that a frame of this type carries.
size_t startOf(bool ethernet, uint64_t type) {
  if (!ethernet) return 0;
  return kEthernetHeader + (type == packets::kPppoeSession ? kSessionHeader : 0);
}

// A whole IP packet. Of a TCP connection every packet has the numbers of its place in it.
size_t packetOf(const Probe &probe, const Packet &packet, uint16_t id, uint8_t *to) {
  using namespace packets;
  const uint64_t protocol = packet[kProtocol];
  const size_t headers = headersOf(packet);
  size_t size = std::max<size_t>(packet[kLength], headers + probe.content.size());
  if (probe.role == Probe::kError && &packet == &probe.packet) size = std::max<size_t>(size, 56);
  memset(to, 0, size);
  to[0] = 0x45;
  put16(to + 2, size);
  put16(to + 4, id);
  to[8] = kHops;
  to[9] = static_cast<uint8_t>(protocol);
  put32(to + 12, packet[kSource]);
  put32(to + 16, packet[kDestination]);
  put16(to + 10, checksum(sum(to, 20)));

  uint8_t *inner = to + 20;
  memcpy(to + headers, probe.content.data(), probe.content.size());
  uint32_t above = 0;  // what the sum begins with
  if (protocol == kTcp || protocol == kUdp) {
    put16(inner, packet[kSourcePort]);
    put16(inner + 2, packet[kDestinationPort]);
    above = sum(to + 12, 8) + static_cast<uint32_t>(protocol + size - 20);
  }
  size_t at = 2;  // of the sum
  if (protocol == kTcp) {
    constexpr uint32_t kThere = 1000, kBack = 5000;
    const bool reply = probe.role == Probe::kReply;
    const bool first = (packet[kTcpFlags] & kSyn) != 0;
    put32(inner + 4, (reply ? kBack : kThere) + (first ? 0 : 1));
    if ((packet[kTcpFlags] & kAcknowledge) != 0) {
      put32(inner + 8, (reply ? kThere : kBack) + 1);
    }
    inner[12] = static_cast<uint8_t>((headers - 20) / 4 << 4);
    inner[13] = static_cast<uint8_t>(packet[kTcpFlags]);
    put16(inner + 14, 65535);
    if (packet[kSegmentSize] != 0) {
      put16(inner + 20, 0x0204);
      put16(inner + 22, packet[kSegmentSize]);
    }
    at = 16;
  } else if (protocol == kUdp) {
    put16(inner + 4, size - 20);
    at = 6;
  } else if (protocol == kIcmp) {
    inner[0] = static_cast<uint8_t>(packet[kIcmpType]);
    put16(inner + 4, probe.echo);
    if (probe.role == Probe::kError && &packet == &probe.packet) {
      inner[1] = 1;  // of type 3: the host cannot be reached
      put16(inner + 4, 0);
      uint8_t about[1 << 16];
      packetOf(probe, probe.about, id, about);
      memcpy(inner + 8, about, 28);
    }
  } else if (protocol == kIgmp) {
    inner[0] = 0x16;
  } else {
    return size;  // no sum
  }
  const uint16_t all = checksum(sum(inner, size - 20, above));
  put16(inner + at, all == 0 && protocol == kUdp ? 0xffff : all);
  return size;
}

}  // namespace

// ---- namespaces ----

void becomeRoot() {
  const uid_t user = getuid();
  const gid_t group = getgid();
  if (unshare(CLONE_NEWUSER) != 0) throw Lacking(failure("no user namespace"));
  writeFile("/proc/self/setgroups", "deny");
  writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
  writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

namespace {

void chooseTools(const std::string &engine) {
  const char *const folder = "/etc/alternatives";
  if (mount("tmpfs", folder, "tmpfs", 0, "mode=755") != 0) throw Lacking(failure(folder));
  for (const std::string family : {"iptables", "ebtables"}) {
    for (const char *what : {"", "-save", "-restore"}) {
      const std::string real =
          "/usr/sbin/" + family + "-" + (family == "iptables" ? engine : "nft") + what;
      if (symlink(real.c_str(), (folder + ("/" + family) + what).c_str()) != 0) {
        throw Lacking(failure(family + what));
      }
    }
  }
}

}  // namespace

Kernel::Kernel(const Situation &situation, Tables tables) : situation_(situation), tables_(tables) {
  if (unshare(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS) != 0) {
    throw Lacking(failure("no namespaces"));
  }
  setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
  mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  // The tools' lock and the tables' names.
  for (const char *folder : {"/run", "/etc/iproute2"}) {
    if (mount("tmpfs", folder, "tmpfs", 0, "mode=755") != 0) throw Lacking(failure(folder));
  }
  if (tables != kAsInstalled) chooseTools(tables == kLegacy ? "legacy" : "nft");
  std::string names = "255 local\n254 main\n253 default\n0 unspec\n";
  for (const std::string &table : situation.tables) names += table + "\n";
  writeFile("/etc/iproute2/rt_tables", names);
  // A name that is no address is asked of nobody.
  writeFile("/run/nobody", "hosts: files\nnetworks: files\n");
  if (tables == kAsInstalled) std::ofstream("/etc/nsswitch.conf", std::ios::app);
  mount("/run/nobody", "/etc/nsswitch.conf", nullptr, MS_BIND, nullptr);
  makeDevices();
}

Kernel::~Kernel() {
  for (const Port &port : ports_) {
    if (port.session == 0) close(port.descriptor);
  }
  for (const std::vector<int> *all : {&sessions_, &raw_, &frames_, &listeners_}) {
    for (int each : *all) close(each);
  }
  close(own_);
  close(netlink_);
}

void Kernel::makeDevices() {
  const auto set = [](const std::string &key, const char *value) {
    writeFile("/proc/sys/net/" + key, value);
  };
  for (const char *of : {"all", "default"}) {
    const std::string conf = std::string("/conf/") + of + "/";
    set("ipv6" + conf + "disable_ipv6", "1");
    set("ipv4" + conf + "rp_filter", "0");
    set("ipv4" + conf + "accept_local", "0");
    set("ipv4" + conf + "send_redirects", "0");
    set("ipv4" + conf + "forwarding", "1");
  }
  set("ipv4/ip_default_ttl", std::to_string(kOwnHops).c_str());
  set("ipv4/icmp_ratelimit", "0");
  set("ipv4/icmp_ratemask", "0");
  // Every first packet of a connection is answered, and once.
  set("ipv4/tcp_syncookies", "0");
  set("ipv4/tcp_synack_retries", "0");
  set("ipv4/tcp_max_syn_backlog", "1000000");
  set("core/somaxconn", "1000000");
  set("ipv4/icmp_echo_ignore_all", "1");
  if (std::ifstream("/proc/sys/net/bridge/bridge-nf-call-iptables")) {
    set("bridge/bridge-nf-call-iptables", "0");
  }

  std::string links = "link set lo up\n", routes;
  std::vector<uint64_t> sessions;
  const packets::Network &network = situation_.network;
  const auto text = [](uint64_t address) { return packets::addressText(address); };
  for (uint64_t i = 1; i < network.interfaces.size(); i++) {
    const packets::Interface &interface = network.interfaces[i];
    const std::string &name = interface.name;
    const bool ethernet = interface.mac != 0;
    if (!interface.below.empty()) {
      sessions.push_back(i);
    } else if (network.isBridge(name)) {
      links += "link add " + name + " type bridge forward_delay 0 mcast_snooping 0\n";
    } else {
      const int descriptor = open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
      if (descriptor < 0) throw Lacking(failure("/dev/net/tun"));
      ifreq request = {};
      strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);
      request.ifr_flags = static_cast<short>((ethernet ? IFF_TAP : IFF_TUN) | IFF_NO_PI);
      if (ioctl(descriptor, TUNSETIFF, &request) != 0) throw Lacking(failure(name));
      ports_.push_back({name, descriptor, ethernet, i, network.number(interface.bridge)});
    }
    const std::string mac = ethernet ? " address " + packets::macText(interface.mac) : "";
    (interface.below.empty() ? links : routes) +=
        "link set " + name + " mtu " + std::to_string(interface.mtu) + mac + " up\n";
    if (!interface.bridge.empty()) {
      links += "link set " + name + " master " + interface.bridge + "\n";
    }
    for (const packets::Address &address : interface.addresses) {
      const std::string prefix = "/" + std::to_string(address.prefix);
      routes += "address add " + text(address.address) + prefix + " brd + dev " + name + "\n";
    }
  }
  const auto gateways = network.tables.find("main");
  for (const packets::Route &route :
       gateways != network.tables.end() ? gateways->second : std::vector<packets::Route>()) {
    routes += "route add default via " + text(*route.gateway) + " dev " + route.device + "\n";
  }
  if (!sessions.empty()) {
    mustRun({"ip", "-batch", "-"}, links);
    links.clear();
    for (uint64_t session : sessions) dial(session);
  }
  mustRun({"ip", "-batch", "-"}, links + routes);
  netlink_ = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (netlink_ < 0) throw Lacking(failure("no netlink socket"));
  const int most = 1 << 20;
  setsockopt(netlink_, SOL_SOCKET, SO_SNDBUF, &most, sizeof(most));
  for (uint64_t i = 1; i < network.interfaces.size(); i++) {
    for (const packets::Address &address : network.interfaces[i].addresses) {
      const uint64_t first = address.address & packets::maskOf(address.prefix);
      if (network.interfaces[i].mac != 0) tellNeighbours(i, first, 255);
    }
  }

  for (uint64_t protocol : kProtocols) {
    const int raw =
        socket(AF_INET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, static_cast<int>(protocol));
    if (raw < 0) throw Lacking(failure("no raw socket"));
    const int on = 1, room = 1 << 20;
    setsockopt(raw, SOL_SOCKET, SO_RCVMARK, &on, sizeof(on));
    setsockopt(raw, SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
    raw_.push_back(raw);
  }
  for (uint64_t type : kEtherTypes) {
    const int frames = socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC,
                              htons(static_cast<uint16_t>(type)));
    if (frames < 0) throw Lacking(failure("no packet socket"));
    const int on = 1;
    setsockopt(frames, SOL_SOCKET, SO_RCVMARK, &on, sizeof(on));
    frames_.push_back(frames);
  }
  own_ = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_RAW);
  if (own_ < 0) throw Lacking(failure("no raw socket"));
  const int yes = 1;
  setsockopt(own_, SOL_SOCKET, SO_BROADCAST, &yes, sizeof(yes));
  for (uint64_t port : kListening) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    own.sin_port = htons(static_cast<uint16_t>(port));
    if (bind(listener, reinterpret_cast<sockaddr *>(&own), sizeof(own)) != 0 ||
        listen(listener, 1 << 16) != 0) {
      throw Lacking(failure("nothing can listen"));
    }
    listeners_.push_back(listener);
  }
}

// A session as one is when its phases of discovery and negotiation are over.
void Kernel::dial(uint64_t number) {
  const packets::Interface &interface = situation_.network.interfaces[number];
  const uint16_t session = static_cast<uint16_t>(number);
  const int wire = socket(AF_PPPOX, SOCK_STREAM | SOCK_CLOEXEC, PX_PROTO_OE);
  if (wire < 0) throw Lacking(failure("no PPPoE"));
  sockaddr_pppox to = {};
  to.sa_family = AF_PPPOX;
  to.sa_protocol = PX_PROTO_OE;
  to.sa_addr.pppoe.sid = htons(session);
  putMac(to.sa_addr.pppoe.remote, kProvider);
  strncpy(to.sa_addr.pppoe.dev, interface.below.c_str(), IFNAMSIZ - 1);
  sockaddr_storage address = {};
  memcpy(&address, &to, sizeof(to));
  const int channel = open("/dev/ppp", O_RDWR | O_CLOEXEC);
  const int own = open("/dev/ppp", O_RDWR | O_CLOEXEC);
  int index = 0, unit = atoi(interface.name.c_str() + 3);
  if (connect(wire, reinterpret_cast<sockaddr *>(&address), sizeof(to)) != 0 || channel < 0 ||
      own < 0 || ioctl(wire, PPPIOCGCHAN, &index) != 0 ||
      ioctl(channel, PPPIOCATTCHAN, &index) != 0 || ioctl(own, PPPIOCNEWUNIT, &unit) != 0 ||
      ioctl(channel, PPPIOCCONNECT, &unit) != 0) {
    throw Lacking(failure(interface.name));
  }
  sessions_.insert(sessions_.end(), {wire, channel, own});
  for (const Port &port : std::vector<Port>(ports_)) {
    if (port.name != interface.below) continue;
    ports_.push_back({interface.name, port.descriptor, false, number, kNowhere, session});
  }
}

// ---- rules ----

void Kernel::restore(const Commands &known) {
  std::map<std::string, std::vector<Command>> iptables, ebtables;
  std::vector<Words> others;
  std::vector<Port> by_name = ports_;  // as a shell finds them
  std::sort(by_name.begin(), by_name.end(),
            [](const Port &one, const Port &other) { return one.name < other.name; });
  for (size_t line = 0; line < situation_.lines.size(); line++) {
    for (Words words : known.at(situation_.lines[line])) {
      if (words[0] == "refused") {
        refused_[line] = "no form";
      } else if (words[0] == "iptables") {
        words.erase(words.begin());
        const std::string table = takeTable(words);
        iptables[table].push_back({line, words});
      } else if (words[0] == "ebtables") {
        words.erase(words.begin());
        const std::string table = takeTable(words);
        ebtables[table].push_back({line, words});
      } else if (words[0] == "nat.sh") {
        iptables["nat"].push_back({line, {"-F", "LAN_NAT_CHAIN"}});
        for (const Port &port : by_name) {
          const packets::Interface &own = situation_.network.interfaces[port.number];
          const std::string &name = port.name;
          if (own.bridge.empty() &&
              (name.rfind("ppp", 0) == 0 || name.rfind("eth2.", 0) == 0 || name == "apcli0")) {
            iptables["nat"].push_back(
                {line, {"-A", "LAN_NAT_CHAIN", "-o", name, "-j", "MASQUERADE"}});
          }
        }
      } else {
        others.push_back(words);
      }
    }
  }
  restoreTables("iptables-restore", iptables);
  if (tables_ == kAsInstalled) {
    runEbtables(ebtables);
  } else {
    restoreTables("ebtables-restore", ebtables);
  }
  // Where its hosts are, a bridge is not to learn from packets made up.
  for (const Port &port : ports_) {
    if (port.session != 0) continue;
    others.push_back({"ip", "link", "set", port.name, "type", "bridge_slave", "learning", "off"});
  }
  for (size_t i = 0; i < others.size(); i++) {
    std::string batch;  // what ip runs one behind the other takes but one process
    for (; i < others.size() && others[i][0] == "ip"; i++) {
      // What lacks a value ends ip, and with it all that would follow.
      const std::string line = lineOf(others[i], 1);
      const bool whole = line.find("via dev") == line.npos && line.find("dev table") == line.npos;
      if (whole) batch += line + "\n";
    }
    if (!batch.empty()) run({"ip", "-force", "-batch", "-"}, batch);
    if (i < others.size()) run(others[i]);
  }
}

// One by one: the restore program of the older engine does not say which line it refuses.
void Kernel::runEbtables(const std::map<std::string, std::vector<Command>> &tables) {
  for (const auto &[table, commands] : tables) {
    Chains chains(kEbtablesChains.at(table));
    for (const Command &command : commands) {
      if (!chains.takes(command.words)) continue;
      Words words = {"ebtables", "-t", table};
      words.insert(words.end(), command.words.begin(), command.words.end());
      const Ran ran = run(words);
      if (ran.status != 0) refused_[command.line] = ran.output.substr(0, ran.output.find('\n'));
    }
  }
}

void Kernel::restoreTables(const char *program,
                           const std::map<std::string, std::vector<Command>> &tables) {
  const bool ip = program[0] == 'i';
  // A transaction each. A place behind a rule that the same transaction has made is none to nft.
  struct Piece {
    std::string table;
    std::vector<Command> commands;
  };
  std::vector<Piece> pieces;
  std::map<std::string, Chains> chains;
  for (const auto &[table, commands] : tables) {
    chains.emplace(table, (ip ? kIptablesChains : kEbtablesChains).at(table));
    pieces.push_back({table, {}});
    for (const Command &command : commands) {
      const Words &words = command.words;
      if (ip && words[0] == "-I" && words.size() > 2 && words[2] == "2")
        pieces.push_back({table, {}});
      pieces.back().commands.push_back(command);
    }
  }
  while (!pieces.empty()) {
    struct Line {
      size_t piece, command;
    };
    std::vector<Line> lines = {{}};  // they are counted from 1
    std::string input;
    const auto add = [&](const std::string &line, size_t piece, size_t command) {
      input += line + "\n";
      lines.push_back({piece, command});
    };
    std::vector<std::map<std::string, Chains>> before;  // each piece
    std::map<std::string, Chains> after = chains;
    for (size_t i = 0; i < pieces.size(); i++) {
      const Piece &piece = pieces[i];
      before.push_back(after);
      add("*" + piece.table, i, SIZE_MAX);
      for (size_t k = 0; k < piece.commands.size(); k++) {
        const Words &words = piece.commands[k].words;
        if (after.at(piece.table).takes(words)) add(lineOf(words, 0), i, k);
      }
      if (ip) add("COMMIT", i, SIZE_MAX);
    }
    const Ran ran = run({program, "--noflush"}, input);
    if (ran.status == 0) return;
    // "line 5 failed", "Error occurred at line: 5": the pieces before that one are done.
    size_t at = ran.output.find("line: ");
    at = at != std::string::npos ? at + 6 : ran.output.find("line ") + 5;
    const size_t number = strtoul(ran.output.c_str() + at, nullptr, 10);
    if (number == 0 || number >= lines.size() || lines[number].command == SIZE_MAX) {
      throw std::runtime_error(std::string(program) + ": " + ran.output + input);
    }
    const auto [piece, command] = lines[number];
    std::vector<Command> &commands = pieces[piece].commands;
    std::string &why = refused_[commands[command].line];
    why = ran.output;
    std::replace(why.begin(), why.end(), '\n', ' ');
    commands.erase(commands.begin() + static_cast<long>(command));
    chains = before[piece];
    pieces.erase(pieces.begin(), pieces.begin() + static_cast<long>(piece));
  }
}

void Kernel::runOneByOne(const std::string &tools) {
  mkdir("/run/lab", 0755);
  mount("sysfs", "/sys", "sysfs", MS_RDONLY, nullptr);
  setenv("PATH", (tools + ":/usr/sbin:/usr/bin:/sbin:/bin").c_str(), 1);
  for (const std::string &line : situation_.lines) {
    if (line.rfind("mkdir", 0) == 0 || line.find("super_dmz") != line.npos) continue;
    run({"sh", "-c", line});
  }
}

std::string Kernel::listing() const {
  std::string all;
  std::vector<Words> lists = {{"iptables-save", "-t", "filter"},
                              {"iptables-save", "-t", "nat"},
                              {"ip", "rule"},
                              {"ip", "route", "show", "table", "all"},
                              {"ip", "-brief", "link", "show", "type", "bridge_slave"}};
  if (tables_ != kAsInstalled) lists.push_back({"ebtables-save"});
  for (const auto &[table, chains] : kEbtablesChains) {
    if (tables_ == kAsInstalled) lists.push_back({"ebtables", "-t", table, "-L"});
  }
  for (const Words &words : lists) {
    for (const std::string &line : split(run(words).output, '\n')) {
      if (line.empty() || line[0] == '#') continue;
      // Packets that the router itself has sent by now.
      all += (line[0] == ':' ? line.substr(0, line.find('[')) : line) + "\n";
    }
  }
  return all;
}

// ---- packets ----

void Kernel::write(const Probe &probe, uint16_t id) {
  uint8_t frame[1 << 16];
  const Packet &packet = probe.packet;
  if (packet[packets::kBridgePort] == packets::kNoInterface) {
    const size_t size = packetOf(probe, packet, id, frame);
    frame[8] = kHops - 1;  // it comes out as what was forwarded does
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(static_cast<uint32_t>(packet[packets::kDestination]));
    // Refused where no route leads.
    if (sendto(own_, frame, size, 0, reinterpret_cast<sockaddr *>(&to), sizeof(to)) < 0) return;
    return;
  }
  for (const Port &port : ports_) {
    if (port.number != packet[packets::kBridgePort]) continue;
    uint64_t type = packet[packets::kEtherType], to = packet[packets::kDestinationMac],
             from = packet[packets::kSourceMac];
    if (port.session != 0) {
      const packets::Network &network = situation_.network;
      type = packets::kPppoeSession;
      to = network.find(network.interfaces[port.number].below)->mac;
      from = kProvider;
    }
    const size_t start = startOf(port.ethernet || port.session != 0, type);
    const size_t size = start + packetOf(probe, packet, id, frame + start);
    if (start >= kEthernetHeader) {
      putMac(frame, to);
      putMac(frame + 6, from);
      put16(frame + 12, type);
    }
    if (start > kEthernetHeader) {
      uint8_t *header = frame + kEthernetHeader;
      put16(header, 0x1100);
      put16(header + 2, port.session != 0 ? port.session : kHostsSession);
      put16(header + 4, size - start + 2);
      put16(header + 6, 0x0021);  // IP
    }
    if (::write(port.descriptor, frame, size) != static_cast<ssize_t>(size)) {
      throw std::runtime_error(failure("write to " + port.name));
    }
  }
}

Arrival *Kernel::ofNumber(uint16_t number, std::vector<Arrival> &arrivals) {
  const size_t place = static_cast<uint16_t>(number - first_number_);
  return place < arrivals.size() ? &arrivals[place] : nullptr;
}

// Where a host is asked for that the kernel does not know yet, it is told; an answer could be kept
// from it by the rules that are judged.
bool Kernel::answerArp(const Port &port, const uint8_t *frame, size_t size) {
  if (size < 42 || get16(frame + 12) != 0x0806 || get16(frame + 20) != 1) return false;
  tellNeighbours(port.bridge < kNowhere ? port.bridge : port.number, get32(frame + 38), 1);
  return true;
}

// Tells the kernel of hosts behind an interface, in one go.
void Kernel::tellNeighbours(uint64_t interface, uint64_t first, uint64_t count) {
  struct Message {
    nlmsghdr header;
    ndmsg neighbour;
    rtattr host_header;
    uint32_t host;
    rtattr mac_header;
    uint8_t mac[8];  // with what brings it to full words
  };
  static_assert(sizeof(Message) % NLMSG_ALIGNTO == 0);
  const packets::Interface &own = situation_.network.interfaces[interface];
  std::vector<Message> messages;
  for (uint64_t host = first; host < first + count; host++) {
    if (!own.addresses.empty() && host == own.addresses[0].address) continue;
    Message message = {};
    message.header.nlmsg_len = sizeof(Message);
    message.header.nlmsg_type = RTM_NEWNEIGH;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_CREATE | NLM_F_REPLACE;
    message.neighbour.ndm_family = AF_INET;
    message.neighbour.ndm_ifindex = static_cast<int>(if_nametoindex(own.name.c_str()));
    message.neighbour.ndm_state = NUD_PERMANENT;
    message.host_header = {RTA_LENGTH(4), NDA_DST};
    message.host = htonl(static_cast<uint32_t>(host));
    message.mac_header = {RTA_LENGTH(6), NDA_LLADDR};
    putMac(message.mac, macOfHost(host));
    messages.push_back(message);
  }
  const size_t size = messages.size() * sizeof(Message);
  if (::send(netlink_, messages.data(), size, 0) != static_cast<ssize_t>(size)) {
    throw std::runtime_error(failure("neighbours of " + own.name));
  }
}

void Kernel::readFrame(const Port &port, uint8_t *frame, size_t size,
                       const std::vector<const Probe *> &probes, std::vector<Arrival> &arrivals) {
  const size_t start = startOf(port.ethernet || port.session != 0, get16(frame + 12));
  if (size < start + 28) return;
  const uint8_t *ip = frame + start, *inner = ip + 20;
  const bool carries_ip = !port.ethernet || get16(frame + 12) == packets::kIpv4;
  const uint64_t interface = port.bridge < kNowhere ? port.bridge : port.number;
  if (carries_ip && ip[8] > kHops) {
    const auto tell = [&](Arrival &arrival, Arrival::Told told) {
      arrival.told = told;
      arrival.told_out = interface;
    };
    if (ip[9] == packets::kIcmp && inner[0] == 3 && size >= start + 56) {
      Arrival *arrival = ofNumber(get16(inner + 12), arrivals);
      // 0 and 1: no route to the network or the host.
      if (arrival != nullptr && inner[1] < 2) tell(*arrival, Arrival::kNoRoute);
      if (arrival != nullptr && inner[1] == 3) tell(*arrival, Arrival::kNoPort);
    }
    if (ip[9] == packets::kTcp) {
      for (size_t i = 0; i < probes.size(); i++) {
        const Packet &sent = probes[i]->packet;
        if (sent[packets::kProtocol] == packets::kTcp && sent[packets::kSource] == get32(ip + 16) &&
            sent[packets::kSourcePort] == get16(inner + 2) &&
            sent[packets::kDestination] == get32(ip + 12) &&
            sent[packets::kDestinationPort] == get16(inner)) {
          const bool reset = (inner[13] & packets::kReset) != 0;
          tell(arrivals[i], reset ? Arrival::kReset : Arrival::kOpened);
        }
      }
    }
    return;
  }
  if (carries_ip && (get16(ip + 6) & 0x1fff) != 0) return;  // the rest of what did not fit
  Arrival *arrival = ofNumber(get16(ip + 4), arrivals);
  if (arrival == nullptr || (carries_ip && ip[8] < kHops - 1)) return;
  const bool routed = carries_ip && ip[8] == kHops - 1;
  arrival->out = interface;
  arrival->ports |= uint64_t{1} << port.number;
  (routed ? arrival->forwarded : arrival->bridged) = true;
  arrival->source = get32(ip + 12);
  arrival->destination = get32(ip + 16);
  if (ip[9] == packets::kTcp || ip[9] == packets::kUdp) {
    arrival->source_port = get16(inner);
    arrival->destination_port = get16(inner + 2);
  }
  const bool asks = ip[9] == packets::kTcp && (inner[13] & packets::kSyn) != 0;
  // Of ours it is the only option.
  if (asks && size >= start + 44 && inner[12] >> 4 > 5 && get16(inner + 20) == 0x0204) {
    arrival->segment = get16(inner + 22);
  }
}

// Whose a frame is that leaves by a wire: its own, or the session's that it is of.
const Kernel::Port &Kernel::portOf(const Port &wire, const uint8_t *frame, size_t size) const {
  if (!wire.ethernet || size < kEthernetHeader + kSessionHeader ||
      get16(frame + 12) != packets::kPppoeSession) {
    return wire;
  }
  for (const Port &port : ports_) {
    if (port.session != 0 && port.descriptor == wire.descriptor &&
        port.session == get16(frame + kEthernetHeader + 2)) {
      return port;
    }
  }
  return wire;
}

// Takes what the router got itself from a socket; false when there is no more.
bool Kernel::hear(int socket, bool frames, std::vector<Arrival> &arrivals) {
  uint8_t frame[1 << 16];
  alignas(cmsghdr) char control[64];
  sockaddr_ll from = {};
  iovec part = {frame, sizeof(frame)};
  msghdr message = {};
  message.msg_name = frames ? &from : nullptr;
  message.msg_namelen = frames ? sizeof(from) : 0;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof(control);
  const ssize_t size = recvmsg(socket, &message, 0);
  if (size < 0) return false;
  const size_t start = frames ? startOf(true, get16(frame + 12)) : 0;
  const uint8_t *ip = frame + start;
  // Of the router's own sessions the packets count, not their frames.
  if (start > kEthernetHeader && get16(frame + kEthernetHeader + 2) != kHostsSession) return true;
  if (from.sll_pkttype == PACKET_OTHERHOST || static_cast<size_t>(size) < start + 28) return true;
  if (ip[8] != kHops && ip[8] != kHops - 1) return true;
  Arrival *arrival = ofNumber(get16(ip + 4), arrivals);
  if (arrival == nullptr) return true;
  arrival->delivered = true;
  arrival->source = get32(ip + 12);
  arrival->destination = get32(ip + 16);
  if (ip[9] == packets::kTcp || ip[9] == packets::kUdp) {
    arrival->source_port = get16(ip + 20);
    arrival->destination_port = get16(ip + 22);
  }
  for (cmsghdr *each = CMSG_FIRSTHDR(&message); each != nullptr;
       each = CMSG_NXTHDR(&message, each)) {
    if (each->cmsg_level == SOL_SOCKET && each->cmsg_type == SO_MARK) {
      memcpy(&arrival->mark, CMSG_DATA(each), sizeof(arrival->mark));
    }
  }
  return true;
}

bool Kernel::drain(const std::vector<const Probe *> &probes, std::vector<Arrival> &arrivals) {
  uint8_t frame[1 << 16];
  bool asked = false;
  for (const Port &port : ports_) {
    if (port.session != 0) continue;
    for (ssize_t size; (size = ::read(port.descriptor, frame, sizeof(frame))) > 0;) {
      if (port.ethernet && answerArp(port, frame, static_cast<size_t>(size))) {
        asked = true;
        continue;
      }
      readFrame(portOf(port, frame, static_cast<size_t>(size)), frame, static_cast<size_t>(size),
                probes, arrivals);
    }
  }
  for (const std::vector<int> *sockets : {&raw_, &frames_}) {
    for (int socket : *sockets) {
      while (hear(socket, sockets == &frames_, arrivals)) continue;
    }
  }
  return asked;
}

std::vector<Arrival> Kernel::send(const std::vector<const Probe *> &probes) {
  std::vector<Arrival> arrivals(probes.size());
  for (size_t i = 0; i < probes.size(); i++) {
    write(*probes[i], static_cast<uint16_t>(first_number_ + i));
  }
  while (drain(probes, arrivals)) continue;
  // So that one that comes late is not taken for another.
  first_number_ = static_cast<uint16_t>(first_number_ + probes.size());
  return arrivals;
}

}  // namespace judge
