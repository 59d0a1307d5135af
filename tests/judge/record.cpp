#include "record.h"

#include <istream>
#include <ostream>

namespace judge {

using namespace packets;

// One number or text a line; a text has no line ends.

namespace {

void put(std::ostream &out, const Packet &packet, size_t fields) {
  for (FieldId field = 0; field < fields; field++) out << packet[field] << ' ';
}

Packet getPacket(std::istream &in, size_t fields) {
  Packet packet;
  for (FieldId field = 0; field < fields; field++) {
    uint64_t value = 0;
    in >> value;
    if (field < kFields || value != 0) packet[field] = value;
  }
  return packet;
}

std::string getLine(std::istream &in) {
  std::string line;
  std::getline(in >> std::ws, line);
  return line;
}

void put(std::ostream &out, const Arrival &seen) {
  out << seen.forwarded << ' ' << seen.bridged << ' ' << seen.delivered << ' ' << int{seen.told}
      << ' ' << seen.told_out << ' ' << seen.out << ' ' << seen.ports << ' ' << seen.segment << ' '
      << seen.source << ' ' << seen.destination << ' ' << seen.source_port << ' '
      << seen.destination_port << ' ' << seen.mark;
}

bool get(std::istream &in, Arrival &seen) {
  int told = 0;
  in >> seen.forwarded >> seen.bridged >> seen.delivered >> told >> seen.told_out >> seen.out >>
      seen.ports >> seen.segment >> seen.source >> seen.destination >> seen.source_port >>
      seen.destination_port >> seen.mark;
  seen.told = static_cast<Arrival::Told>(told);
  return static_cast<bool>(in);
}

void putRefused(std::ostream &out, const Record &record) {
  out << record.refused.size() << '\n';
  for (const auto &[line, why] : record.refused) out << line << ' ' << why << '\n';
}

void getRefused(std::istream &in, Record &record) {
  size_t lines = 0, line = 0;
  for (in >> lines; lines > 0 && in >> line; lines--) record.refused[line] = getLine(in);
}

}  // namespace

void write(std::ostream &out, const Record &record) {
  out << record.seed << ' ' << record.tables << ' ' << record.network.interfaces.size() - 1 << '\n';
  for (size_t i = 1; i < record.network.interfaces.size(); i++) {
    const Interface &interface = record.network.interfaces[i];
    const bool numbered = !interface.addresses.empty();
    out << interface.name << ' ' << (interface.bridge.empty() ? "-" : interface.bridge) << ' '
        << (interface.below.empty() ? "-" : interface.below) << ' ' << interface.mac << ' '
        << interface.mtu << ' ' << (numbered ? interface.addresses[0].address : 0) << '\n';
  }
  const auto main = record.network.tables.find("main");
  const bool gateway = main != record.network.tables.end();
  out << (gateway ? *main->second[0].gateway : 0) << ' ' << (gateway ? main->second[0].device : "-")
      << '\n'
      << record.lines.size() << '\n';
  for (const std::string &line : record.lines) out << line << '\n';
  putRefused(out, record);
  const size_t fields = kFields + record.questions;
  out << fields << ' ' << record.probes.size() << '\n';
  for (size_t i = 0; i < record.probes.size(); i++) {
    const Probe &probe = record.probes[i];
    put(out, probe.packet, fields);
    out << int{probe.role} << ' ' << probe.first << ' ' << probe.first_of_sender << ' '
        << probe.echo << ' ' << (probe.content.empty() ? "-" : probe.content) << ' ';
    if (probe.role == Probe::kError) put(out, probe.about, kFields);
    put(out, i < record.arrivals.size() ? record.arrivals[i] : Arrival());
    out << '\n';
  }
}

bool read(std::istream &in, Record &record) {
  size_t interfaces = 0, lines = 0, fields = 0, probes = 0;
  record = {};
  if (!(in >> record.seed >> record.tables >> interfaces)) return false;
  for (; interfaces > 0; interfaces--) {
    Interface interface;
    uint64_t address = 0;
    in >> interface.name >> interface.bridge >> interface.below >> interface.mac >> interface.mtu >>
        address;
    for (std::string *other : {&interface.bridge, &interface.below}) {
      if (*other == "-") other->clear();
    }
    if (address != 0) interface.addresses.push_back({address, 24});
    const std::string &bridge = interface.bridge;
    if (!bridge.empty() && !record.network.isBridge(bridge)) {
      record.network.bridges.push_back(bridge);
    }
    record.network.add(interface);
  }
  Route gateway;
  uint64_t address = 0;
  in >> address >> gateway.device >> lines;
  gateway.gateway = address;
  if (address != 0) record.network.tables["main"].push_back(gateway);
  for (; lines > 0; lines--) record.lines.push_back(getLine(in));
  getRefused(in, record);
  in >> fields >> probes;
  record.questions = fields - kFields;
  for (; probes > 0; probes--) {
    Probe probe;
    Arrival seen;
    probe.packet = getPacket(in, fields);
    int role = 0;
    in >> role >> probe.first >> probe.first_of_sender >> probe.echo >> probe.content;
    probe.role = static_cast<Probe::Role>(role);
    if (probe.content == "-") probe.content.clear();
    if (probe.role == Probe::kError) probe.about = getPacket(in, kFields);
    get(in, seen);
    record.probes.push_back(probe);
    record.arrivals.push_back(seen);
  }
  return static_cast<bool>(in);
}

void write(std::ostream &out, const Plan &plan) {
  write(out, plan.record);
  out << plan.tables.size() << '\n';
  for (const std::string &table : plan.tables) out << table << '\n';
  for (const std::string &line : plan.record.lines) {
    const std::vector<Words> &commands = plan.commands.at(line);
    out << commands.size() << '\n';
    for (const Words &words : commands) {
      for (const std::string &word : words) out << word << '\t';
      out << '\n';
    }
  }
}

bool read(std::istream &in, Plan &plan) {
  size_t count = 0;
  plan = {};
  if (!read(in, plan.record)) return false;
  for (in >> count; count > 0; count--) plan.tables.push_back(getLine(in));
  for (const std::string &line : plan.record.lines) {
    std::vector<Words> commands;
    for (in >> count; count > 0; count--) {
      commands.push_back(split(getLine(in), '\t'));
      commands.back().pop_back();  // behind the last tab
    }
    plan.commands[line] = commands;
  }
  return static_cast<bool>(in);
}

void writeAnswer(std::ostream &out, const Record &record) {
  putRefused(out, record);
  out << record.arrivals.size() << '\n';
  for (const Arrival &each : record.arrivals) {
    put(out, each);
    out << '\n';
  }
}

bool readAnswer(std::istream &in, Record &record) {
  size_t count = 0;
  getRefused(in, record);
  for (in >> count; count > 0 && in; count--) get(in, record.arrivals.emplace_back());
  return static_cast<bool>(in);
}

}  // namespace judge
