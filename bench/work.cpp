// Runs jobs for whoever counts their instructions.
//   work                    every job at every size, once warm and once measured
//   work --list             the same, saying "NAME SIZE COMMANDS ALLOCATIONS PER" of each
//   work NAME SIZE TIMES    one of them so many times
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/jobs.h"
#include "bench/null_device.h"

using orba::bench::Job;
using orba::bench::jobs;

// By its name callgrind knows what to count.
extern "C" [[gnu::noinline]] void measured(const Job &job) {
  job.run();
  asm volatile("");
}

namespace {

void runAll(bool say) {
  for (const Job &job : jobs()) {
    for (int size : job.sizes) {
      job.prepare(size);
      job.run();  // what is done only once, in the C library, is done by now
      null_device::counts = {};
      measured(job);
      if (!say) continue;
      printf("%s %d %ld %ld %s\n", job.name.c_str(), size, null_device::counts.commands,
             null_device::counts.allocations, job.per.c_str());
    }
  }
}

int runOne(const char *name, int size, int times) {
  for (const Job &job : jobs()) {
    if (job.name != name) continue;
    job.prepare(size);
    for (int i = 0; i < times; i++) job.run();
    return 0;
  }
  fprintf(stderr, "work: no job is called %s\n", name);
  return 2;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc == 4) return runOne(argv[1], atoi(argv[2]), atoi(argv[3]));
  runAll(argc == 2 && strcmp(argv[1], "--list") == 0);
}
