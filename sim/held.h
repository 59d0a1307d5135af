// What the library has taken and not given back.
#ifndef ORBA_SIM_HELD_H
#define ORBA_SIM_HELD_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace sim {

class Held {
 public:
  enum Kind { kDescriptor, kStream, kFolder, kMemory, kMapping };

  // Each returns what it was given; what could not be had is not held.
  int take(int fd) { return fd >= 0 ? (add(kDescriptor, fd), fd) : fd; }
  template <typename T>
  T *take(Kind kind, T *pointer, size_t size = 0) {
    bool had = pointer != nullptr && reinterpret_cast<intptr_t>(pointer) != -1;
    if (had) add(kind, reinterpret_cast<intptr_t>(pointer), size);
    return pointer;
  }
  void give(int fd) { things_.erase({kDescriptor, fd}); }
  void give(Kind kind, const void *pointer) {
    things_.erase({kind, reinterpret_cast<intptr_t>(pointer)});
  }

  bool nothing() const { return things_.empty(); }
  // "1 descriptor, 2 streams"; empty for nothing.
  std::string describe() const;
  // As the end of the process would.
  void releaseAll();

 private:
  void add(Kind kind, intptr_t thing, size_t size = 0) { things_[{kind, thing}] = size; }

  std::map<std::pair<Kind, intptr_t>, size_t> things_;  // sizes of mappings
};

}  // namespace sim

#endif
