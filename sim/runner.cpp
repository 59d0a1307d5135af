#include "sim/runner.h"

namespace sim {

namespace {

Runner *current_runner = nullptr;

}  // namespace

Runner::Runner() {
  current_runner = this;
}

Runner::~Runner() {
  current_runner = nullptr;
}

Runner *Runner::current() {
  return current_runner;
}

}  // namespace sim
