// Configurations by what changes for them, and what is kept of that between two runs.
#ifndef ORBA_TOOLS_REHEARSE_GROUPS_H
#define ORBA_TOOLS_REHEARSE_GROUPS_H

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "tools/rehearse/comparison.h"

namespace orba::tool {

// The configuration that stands for a group: the smallest, and of equal ones the first by name.
struct Example {
  size_t size = 0;  // settings
  std::string id;
  std::string config;

  bool operator<(const Example &other) const {
    return std::tie(size, id, config) < std::tie(other.size, other.id, other.config);
  }
};

struct Group {
  SideChange change;
  Example example;
  uint64_t count = 0;

  // Whatever comes first, the same comes out.
  void add(const Group &other);
};

// What names a change: 16 hexadecimal digits.
std::string nameOf(const SideChange &change);

nlohmann::json asJson(const Group &group);
Group groupIn(const nlohmann::json &json);

// What a rehearsal knows when so many configurations have been through it. In its folder it is
// kept in "state.json", and the names of each group's configurations in "lists/NAME".
struct State {
  nlohmann::json what;  // is rehearsed: a rehearsal goes on only with the same
  uint64_t taken = 0;   // of the source, those of other shards included
  uint64_t order = 0;   // stands for those that were taken, with what they hold, in their order
  uint64_t shard = 1, shards = 1;
  uint64_t configurations = 0, changed = 0, refused = 0, damaged = 0;
  bool done = false;
  std::map<std::string, Group> groups;  // by the names of their changes
};

class Store {
 public:
  // Makes the folder, or finds the state in it. Throws CannotWrite, or BadArgument when it holds
  // something else or another process is at it.
  explicit Store(std::string folder);
  Store(const Store &) = delete;
  Store &operator=(const Store &) = delete;
  ~Store();

  bool found() const { return found_; }
  State &state() { return state_; }
  // For a list: written with the next state, and not before.
  void list(const std::string &name, const std::string &line) { lines_[name] += line + "\n"; }
  // All that is known by now, so that it is found again after any interruption.
  void write();
  // A list in the order of its bytes, as a file of that name. Throws CannotWrite.
  void writeSorted(const std::string &list, const std::string &file) const;
  // Adds what another folder holds, which must be done.
  void merge(const Store &other);
  void removeLists() const;
  std::string path(const std::string &name) const { return folder_ + "/" + name; }

 private:
  void read();

  std::string folder_;
  int lock_ = -1;
  bool found_ = false;
  State state_;
  std::map<std::string, std::string> lines_;
  std::map<std::string, uint64_t> sizes_;  // of the lists, as they are to be
};

// Lists that are of no group.
inline constexpr char kRefusedList[] = "not-read", kDamagedList[] = "damaged";

}  // namespace orba::tool

#endif
