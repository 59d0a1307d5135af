// packets_faults: judges the model by what packets_judge recorded of the kernel, with no fault
// and with each of those that faults.py has built into it.
//
//   packets_faults FOLDER [NUMBER]
//
// Each must be found: one that the records do not contradict escapes. One in a hundred may, and
// is named; by a booted machine's records, which are shorter, one in ten, but none of those that
// only they can contradict. Ends with 77 where there are no records, since there could be no
// kernel.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "fault.h"
#include "record.h"

namespace judge {

static int chosen = 0;

bool fault(int number) {
  return number == chosen;
}

namespace {

// The first contradiction of the records, empty for none.
std::string contradiction(const std::vector<Record> &records) {
  for (const Record &record : records) {
    const std::string where = record.tables + " seed " + std::to_string(record.seed) + ": ";
    const packets::Router router = routerOf(record.network, record.lines);
    const Refusals refusals = compareRefusals(router, record.lines, record.refused);
    if (!refusals.differences.empty()) return where + refusals.differences[0];
    packets::Walker walker(router);
    std::map<uint32_t, packets::Connection> connections;  // by the place of the first packet
    for (size_t i = 0; i < record.probes.size(); i++) {
      std::string why;
      const Probe &probe = record.probes[i];
      // The state by which the first of a connection was sent, and the kernel agreed.
      if (probe.role == Probe::kFirst &&
          packets::stateOfFirst(probe.packet) != probe.packet[packets::kState]) {
        return where + text(probe, record.network) + "; begins another state";
      }
      const packets::Connection *connection = nullptr;
      if (probe.first != Probe::kNone) {
        auto [found, fresh] = connections.try_emplace(probe.first);
        if (fresh) found->second = connectionOf(walker, record.probes[probe.first]);
        connection = &found->second;
      }
      const packets::Walk way = wayOf(walker, probe, connection);
      if (judged(router, walker, way, probe, connection, record.arrivals[i], why) ==
          Agreement::kDiffers) {
        return where + text(probe, record.network) +
               "; the kernel: " + text(record.arrivals[i], record.network) + "; " + why;
      }
    }
  }
  return "";
}

// With a fault, in a process of its own: it may crash or hang, and tables are made only once.
bool isFound(const std::vector<Record> &records, int number, bool told) {
  std::cout.flush();
  const pid_t child = fork();
  if (child == 0) {
    chosen = number;
    alarm(60);
    const std::string found = contradiction(records);
    if (told && !found.empty()) std::cout << found << std::endl;
    _exit(found.empty() ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return !WIFEXITED(status) || WEXITSTATUS(status) != 0;
}

int tryFaults(const std::string &folder, int only) {
  std::vector<std::filesystem::path> paths;
  if (std::filesystem::exists(folder)) {
    for (const auto &each : std::filesystem::directory_iterator(folder)) paths.push_back(each);
  }
  const char *ci = getenv("CI");
  if (paths.empty()) {
    std::cout << "packets_faults: there are no records of a kernel in " << folder << '\n';
    return ci != nullptr && *ci != '\0' ? 1 : 77;
  }
  // The examples first, and then in the order of their seeds.
  std::sort(paths.begin(), paths.end(), [](const auto &one, const auto &other) {
    return std::stoull(one.filename()) < std::stoull(other.filename());
  });
  std::vector<Record> records;
  for (const std::filesystem::path &path : paths) {
    std::ifstream file(path);
    Record record;
    if (!read(file, record)) {
      std::cout << path.string() << " cannot be read\n";
      return 1;
    }
    records.push_back(std::move(record));
  }
  if (only != 0) return isFound(records, only, true) ? 0 : 1;

  const auto begin = std::chrono::steady_clock::now();
  if (isFound(records, 0, true)) {
    std::cout << "the model contradicts the records without a fault\n";
    return 1;
  }
  const std::string of_machine = "machine: ";
  const bool machine = records[0].tables == "machine";
  int tried = 0, escaped = 0, missed = 0;
  for (int number = 1; number <= kFaults; number++) {
    const bool only_there = std::string(kFaultWords[number]).rfind(of_machine, 0) == 0;
    if (only_there && !machine) continue;
    tried++;
    if (isFound(records, number, false)) continue;
    escaped++;
    missed += only_there;
    std::cout << "escaped: " << number << ", " << kFaultWords[number] << '\n';
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  std::cout << tried << " faults, " << tried - escaped << " found, " << escaped << " escaped, by "
            << records.size() << " records in " << seconds << " s\n";
  // A machine's packets are few.
  return missed > 0 || escaped * (machine ? 10 : 100) > tried ? 1 : 0;
}

}  // namespace

}  // namespace judge

int main(int count, char **words) {
  if (count < 2) return 2;
  return judge::tryFaults(words[1], count > 2 ? atoi(words[2]) : 0);
}
