#include "kernel.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#ifndef SO_RCVMARK
#define SO_RCVMARK 75
#endif

namespace judge {

namespace {

using packets::Packet;

constexpr size_t kEthernetHeader = 14;
// Our packets set out with this; what the router makes itself, with another.
constexpr uint8_t kHops = 64, kOwnHops = 200;
constexpr uint64_t kNowhere = packets::kNoInterface;

std::string failure(const std::string &what) {
  return what + ": " + strerror(errno);
}

// ---- programs ----

struct Ran {
  int status;
  std::string output;  // both streams
};

Ran run(const Words &words, const std::string &input = "") {
  const int in = memfd_create("input", MFD_CLOEXEC), out = memfd_create("output", MFD_CLOEXEC);
  if (in < 0 || out < 0) throw Lacking(failure("memfd_create"));
  if (::write(in, input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
    throw Lacking(failure("write"));
  }
  lseek(in, 0, SEEK_SET);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, in, 0);
  posix_spawn_file_actions_adddup2(&files, out, 1);
  posix_spawn_file_actions_adddup2(&files, out, 2);
  std::vector<char *> arguments;
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t child;
  const int error = posix_spawnp(&child, arguments[0], &files, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  Ran ran{127, ""};
  if (error == 0) {
    int status = 0;
    waitpid(child, &status, 0);
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
    const off_t size = lseek(out, 0, SEEK_END);
    ran.output.resize(static_cast<size_t>(size));
    if (pread(out, ran.output.data(), ran.output.size(), 0) != size) ran.output.clear();
  }
  close(in);
  close(out);
  return ran;
}

void mustRun(const Words &words, const std::string &input = "") {
  const Ran ran = run(words, input);
  if (ran.status != 0) throw Lacking(words[0] + " fails: " + ran.output);
}

void writeFile(const std::string &path, const std::string &content) {
  std::ofstream file(path);
  if (!(file << content << std::flush)) throw Lacking(failure(path));
}

std::vector<std::string> split(const std::string &text, char separator) {
  std::vector<std::string> parts;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

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
    {"filter", {"INPUT", "FORWARD", "OUTPUT"}}, {"nat", {"PREROUTING", "OUTPUT", "POSTROUTING"}}};

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

// ---- what lines run ----

void Translator::learn(const std::vector<std::string> &lines) {
  known_.clear();
  std::vector<std::string> fresh;
  std::string input;
  for (const std::string &line : lines) {
    if (!known_.try_emplace(line).second) continue;
    // Of the others none concerns packets.
    static const char *const kPrograms[] = {"iptables ", "ebtables ", "ip ",   "route ",
                                            "brctl ",    "ifconfig ", "nat.sh"};
    if (std::none_of(std::begin(kPrograms), std::end(kPrograms),
                     [&](const char *program) { return line.rfind(program, 0) == 0; })) {
      continue;
    }
    fresh.push_back(line);
    input += line + "\n";
  }
  if (fresh.empty()) return;
  const Ran ran = run({"bash", std::string(JUDGE_FOLDER) + "/translate.bash", tools_}, input);
  if (ran.status != 0) throw std::runtime_error("translate.bash: " + ran.output);
  for (const std::string &answer : split(ran.output, '\n')) {
    if (answer.empty()) continue;
    Words words = split(answer, '\t');
    const size_t number = std::stoul(words.at(0));
    words.erase(words.begin());
    known_[fresh.at(number)].push_back(words);
  }
}

// ---- namespaces ----

void becomeRoot() {
  const uid_t user = getuid();
  const gid_t group = getgid();
  if (unshare(CLONE_NEWUSER) != 0) throw Lacking(failure("no user namespace"));
  writeFile("/proc/self/setgroups", "deny");
  writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
  writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

Kernel::Kernel(const Situation &situation, Tables tables) : situation_(situation), tables_(tables) {
  if (unshare(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS) != 0) {
    throw Lacking(failure("no namespaces"));
  }
  setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
  mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  // The tools' lock, the tables' names, and which of the tools there are.
  for (const char *folder : {"/run", "/etc/iproute2", "/etc/alternatives"}) {
    if (mount("tmpfs", folder, "tmpfs", 0, "mode=755") != 0) throw Lacking(failure(folder));
  }
  const std::string program = tables == kLegacy ? "legacy" : "nft";
  for (const char *tool : {"iptables", "iptables-save", "iptables-restore"}) {
    std::string real = std::string("/usr/sbin/") + tool;
    real.insert(real.find("iptables") + 8, "-" + program);
    if (symlink(real.c_str(), (std::string("/etc/alternatives/") + tool).c_str()) != 0) {
      throw Lacking(failure(tool));
    }
  }
  for (const char *tool : {"ebtables", "ebtables-save", "ebtables-restore"}) {
    std::string real = std::string("/usr/sbin/") + tool;
    real.insert(real.find("ebtables") + 8, "-nft");
    if (symlink(real.c_str(), (std::string("/etc/alternatives/") + tool).c_str()) != 0) {
      throw Lacking(failure(tool));
    }
  }
  std::string names = "255 local\n254 main\n253 default\n0 unspec\n";
  for (const std::string &table : situation.tables) names += table + "\n";
  writeFile("/etc/iproute2/rt_tables", names);
  // A name that is no address is asked of nobody.
  writeFile("/run/nobody", "hosts: files\nnetworks: files\n");
  mount("/run/nobody", "/etc/nsswitch.conf", nullptr, MS_BIND, nullptr);
  makeDevices();
}

Kernel::~Kernel() {
  for (const Port &port : ports_) close(port.descriptor);
  for (int socket : raw_) close(socket);
  for (int socket : listeners_) close(socket);
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

  std::string links = "link set lo up\n", routes, bridge;
  const packets::Network &network = situation_.network;
  const auto text = [](uint64_t address) { return packets::addressText(address); };
  for (uint64_t i = 1; i < network.interfaces.size(); i++) {
    const packets::Interface &interface = network.interfaces[i];
    const std::string &name = interface.name;
    const bool ethernet = interface.mac != 0;
    if (network.isBridge(name)) {
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
    links += "link set " + name + " mtu " + std::to_string(interface.mtu) + mac + " up\n";
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

// ---- rules ----

void Kernel::restore(const Translator &translator) {
  std::map<std::string, std::vector<Command>> iptables, ebtables;
  std::vector<Words> others;
  std::vector<Port> by_name = ports_;  // as a shell finds them
  std::sort(by_name.begin(), by_name.end(),
            [](const Port &one, const Port &other) { return one.name < other.name; });
  for (size_t line = 0; line < situation_.lines.size(); line++) {
    for (Words words : translator.commands(situation_.lines[line])) {
      if (words[0] == "refused") {
        refused_[line] = "no form";
      } else if (words[0] == "iptables") {
        words.erase(words.begin());
        const std::string table = takeTable(words);
        iptables[table].push_back({line, words});
      } else if (words[0] == "ebtables") {
        words.erase(words.begin());
        const std::string table = takeTable(words);
        if (table != "broute") ebtables[table].push_back({line, words});
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
  restoreTables("ebtables-restore", ebtables);
  // Where its hosts are, a bridge is not to learn from packets made up.
  for (const Port &port : ports_) {
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
      if (words[0] == "-I" && words.size() > 2 && words[2] == "2") pieces.push_back({table, {}});
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
    if (number >= lines.size() || lines[number].command == SIZE_MAX) {
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
  for (const Words &words :
       std::vector<Words>{{"iptables-save", "-t", "filter"},
                          {"iptables-save", "-t", "nat"},
                          {"ebtables-save"},
                          {"ip", "rule"},
                          {"ip", "route", "show", "table", "all"},
                          {"ip", "-brief", "link", "show", "type", "bridge_slave"}}) {
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
    size_t size = 0;
    if (port.ethernet) {
      putMac(frame, packet[packets::kDestinationMac]);
      putMac(frame + 6, packet[packets::kSourceMac]);
      put16(frame + 12, packet[packets::kEtherType]);
      size = kEthernetHeader;
    }
    size += packetOf(probe, packet, id, frame + size);
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
  const size_t start = port.ethernet ? kEthernetHeader : 0;
  if (size < start + 28) return;
  const uint8_t *ip = frame + start, *inner = ip + 20;
  const bool carries_ip = !port.ethernet || get16(frame + 12) == 0x0800;
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

bool Kernel::drain(const std::vector<const Probe *> &probes, std::vector<Arrival> &arrivals) {
  uint8_t frame[1 << 16];
  bool asked = false;
  for (const Port &port : ports_) {
    for (ssize_t size; (size = ::read(port.descriptor, frame, sizeof(frame))) > 0;) {
      if (port.ethernet && answerArp(port, frame, static_cast<size_t>(size))) {
        asked = true;
        continue;
      }
      readFrame(port, frame, static_cast<size_t>(size), probes, arrivals);
    }
  }
  for (int raw : raw_) {
    for (;;) {
      alignas(cmsghdr) char control[64];
      iovec part = {frame, sizeof(frame)};
      msghdr message = {};
      message.msg_iov = &part;
      message.msg_iovlen = 1;
      message.msg_control = control;
      message.msg_controllen = sizeof(control);
      const ssize_t size = recvmsg(raw, &message, 0);
      if (size < 28) break;
      if (frame[8] != kHops && frame[8] != kHops - 1) continue;
      Arrival *arrival = ofNumber(get16(frame + 4), arrivals);
      if (arrival == nullptr) continue;
      arrival->delivered = true;
      arrival->source = get32(frame + 12);
      arrival->destination = get32(frame + 16);
      if (frame[9] == packets::kTcp || frame[9] == packets::kUdp) {
        arrival->source_port = get16(frame + 20);
        arrival->destination_port = get16(frame + 22);
      }
      for (cmsghdr *each = CMSG_FIRSTHDR(&message); each != nullptr;
           each = CMSG_NXTHDR(&message, each)) {
        if (each->cmsg_level == SOL_SOCKET && each->cmsg_type == SO_MARK) {
          memcpy(&arrival->mark, CMSG_DATA(each), sizeof(arrival->mark));
        }
      }
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
