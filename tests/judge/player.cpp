// packets_player: plays a plan of packets_judge through the kernel of the machine that it runs on,
// which is its own.
//
//   packets_player PLAN                answers on standard output
//   packets_player PLAN TOOLS          gives the lines to a shell one by one instead, with TOOLS in
//                                      front of the real ones, and lists what came of them
//   packets_player PLAN --listing      lists what came of them all at once
//
// Ends with 77 where the machine makes no such routers.
#include <sched.h>

#include <cstring>
#include <fstream>
#include <iostream>
#include <set>

#include "kernel.h"
#include "record.h"

namespace judge {

namespace {

// Of each connection one packet at a time, in the order in which they are planned.
void play(Kernel &kernel, Record &record) {
  std::vector<const Probe *> batch;
  std::set<uint32_t> connections;
  const auto send = [&] {
    for (const Arrival &each : kernel.send(batch)) record.arrivals.push_back(each);
    batch.clear();
    connections.clear();
  };
  for (uint32_t place = 0; place < record.probes.size(); place++) {
    const Probe &probe = record.probes[place];
    const uint32_t connection = probe.first == Probe::kNone ? place : probe.first;
    if (batch.size() == Kernel::kBatch || connections.count(connection) != 0) send();
    batch.push_back(&probe);
    connections.insert(connection);
  }
  send();
}

int answer(const char *path, const char *tools) {
  Plan plan;
  std::ifstream file(path);
  if (!read(file, plan)) throw std::runtime_error(std::string(path) + " cannot be read");
  Record &record = plan.record;
  Situation situation;
  situation.network = record.network;
  situation.lines = record.lines;
  situation.tables = plan.tables;
  // What a packet of PPP sets going may be left to a thread of the kernel, which then goes first.
  const sched_param none = {};
  if (sched_setscheduler(0, SCHED_IDLE, &none) != 0) throw Lacking(failure("SCHED_IDLE"));
  Kernel kernel(situation, Kernel::kAsInstalled);
  const bool at_once = tools == nullptr || strcmp(tools, "--listing") == 0;
  at_once ? kernel.restore(plan.commands) : kernel.runOneByOne(tools);
  if (tools != nullptr) {
    std::cout << kernel.listing();
    return 0;
  }
  record.refused = kernel.refused();
  record.arrivals.clear();
  play(kernel, record);
  writeAnswer(std::cout, record);
  return 0;
}

}  // namespace

}  // namespace judge

int main(int count, char **words) {
  if (count < 2) return 2;
  try {
    return judge::answer(words[1], count > 2 ? words[2] : nullptr);
  } catch (const judge::Lacking &lacking) {
    std::cerr << "packets_player: " << lacking.what() << '\n';
    return 77;
  } catch (const std::exception &error) {
    std::cerr << "packets_player: " << error.what() << '\n';
    return 1;
  }
}
