// What is measured: whole entry points on the null device.
#ifndef ORBA_BENCH_JOBS_H
#define ORBA_BENCH_JOBS_H

#include <functional>
#include <string>
#include <vector>

namespace orba::bench {

struct Job {
  std::string name;        // the entry point
  std::string per;         // what `sizes` counts: "record", "network" ...
  std::vector<int> sizes;  // the first and the last are compared
  bool proportional;       // whether the cost is to grow with the size and no faster
  std::function<void(int size)> prepare;
  std::function<void()> run;
};

const std::vector<Job> &jobs();

}  // namespace orba::bench

#endif
