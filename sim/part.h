// A piece of simulated hardware or a program that answers.
#ifndef ORBA_SIM_PART_H
#define ORBA_SIM_PART_H

#include <optional>
#include <string>

namespace sim {

class Device;

class Part {
 public:
  explicit Part(Device &device) : device_(device) {}
  Part(const Part &) = delete;
  Part &operator=(const Part &) = delete;
  virtual ~Part() = default;

  // Each returns nothing for what is not its business. A request that fails
  // sets errno and answers -1.
  virtual std::optional<int> request(unsigned long number, void *argument) {
    (void)number, (void)argument;
    return {};
  }
  // The output of a command that is run for it.
  virtual std::optional<std::string> outputOf(const std::string &command) {
    (void)command;
    return {};
  }
  // Whether opening this device node works.
  virtual std::optional<bool> opens(const std::string &path) {
    (void)path;
    return {};
  }

 protected:
  Device &device_;
};

}  // namespace sim

#endif
