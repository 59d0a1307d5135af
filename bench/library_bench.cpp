// The library's own time on a device that costs nothing: nanoseconds for each
// command, record or network, and its calls for memory, which instructions.sh holds.
// Ends with 1 when a list builder's time is out of proportion.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench/jobs.h"
#include "bench/null_device.h"

using orba::bench::Job;
using orba::bench::jobs;

namespace {

constexpr double kMostPerRecord = 1.5;  // of a record's time in a list of 64

// By the job's name and size: nanoseconds a part, and allocations a run.
struct Result {
  double nanoseconds = 0;
  long allocations = 0;
};
std::map<std::pair<std::string, int>, Result> results;

void measure(benchmark::State &state, const Job &job, int size) {
  job.prepare(size);
  job.run();
  null_device::counts = {};
  long runs = 0;
  for (auto _ : state) {
    job.run();
    runs++;
  }
  results[{job.name, size}].allocations = null_device::counts.allocations / runs;
  // Commands are what the firewall is made of; lists are compared by record.
  long parts = job.per == "command" ? null_device::counts.commands / runs : size;
  state.counters["parts"] = static_cast<double>(parts);
}

class Table : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.aggregate_name != "median") continue;
      const std::string &name = run.run_name.function_name;
      size_t slash = name.find('/');
      std::pair<std::string, int> key = {name.substr(0, slash), std::stoi(name.substr(slash + 1))};
      results[key].nanoseconds = run.GetAdjustedCPUTime() / run.counters.at("parts");
    }
  }
};

int report() {
  int failures = 0;
  printf("%-27s %9s %12s %16s %12s\n", "entry point", "size", "ns", "", "allocations");
  for (const Job &job : jobs()) {
    for (int size : job.sizes) {
      const Result &result = results[{job.name, size}];
      printf("%-27s %9d %12.0f per %-12s %12ld\n", job.name.c_str(), size, result.nanoseconds,
             job.per.c_str(), result.allocations);
    }
    if (!job.proportional) continue;
    double ratio = results[{job.name, 4096}].nanoseconds / results[{job.name, 64}].nanoseconds;
    printf("%-27s a record among 4096 / among 64: %.2f%s\n", job.name.c_str(), ratio,
           ratio > kMostPerRecord ? "  OUT OF PROPORTION" : "");
    if (ratio > kMostPerRecord) failures++;
  }
  return failures > 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<char *> arguments(argv, argv + argc);
  // Interleaved repetitions, so that a busy machine is busy for everyone.
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  arguments.insert(arguments.begin() + 1, interleave);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  for (const Job &job : jobs()) {
    for (int size : job.sizes) {
      std::string name = job.name + "/" + std::to_string(size);
      benchmark::RegisterBenchmark(
          name.c_str(), [&job, size](benchmark::State &state) { measure(state, job, size); })
          ->MinTime(0.02)
          ->Repetitions(9)
          ->ReportAggregatesOnly();
    }
  }
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  return report();
}
