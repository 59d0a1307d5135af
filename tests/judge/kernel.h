// A router of the kernel's own, in namespaces: the real tools make its rules, and packets are
// written to and read from devices that bear the names of the router's.
#ifndef ORBA_TESTS_JUDGE_KERNEL_H
#define ORBA_TESTS_JUDGE_KERNEL_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "probe.h"
#include "program.h"
#include "situations.h"

namespace judge {

// This process gets a user namespace of its own, in which it is root.
void becomeRoot();

class Kernel {
 public:
  // The engines that the tools' names lead to. kAsInstalled is a machine of its own, with the older
  // engines, broute and PPPoE.
  enum Tables { kLegacy, kNft, kAsInstalled };

  // This process leaves for namespaces of the router's; it must be root there.
  Kernel(const Situation &situation, Tables tables);
  ~Kernel();

  // All rules at once by the tools' restore programs, in the order of the lines, without the
  // commands that find nothing to delete or to make.
  void restore(const Commands &known);
  // The same lines one by one, as a shell runs them.
  void runOneByOne(const std::string &tools);
  // Rules and routes as the tools list them.
  std::string listing() const;
  // The lines by their place with a command that a tool refuses for what it says.
  const std::map<size_t, std::string> &refused() const { return refused_; }

  // Sends them in turn and says what came of each. At most kBatch, each of another connection.
  static constexpr size_t kBatch = 64;
  std::vector<Arrival> send(const std::vector<const Probe *> &probes);

 private:
  struct Port {
    std::string name;
    int descriptor;
    bool ethernet;
    uint64_t number;       // in the network
    uint64_t bridge;       // kNoInterface for none
    uint16_t session = 0;  // PPPoE's, in frames of another port; 0 for none
  };
  struct Command {
    size_t line;
    Words words;
  };

  void makeDevices();
  void dial(uint64_t number);
  const Port &portOf(const Port &wire, const uint8_t *frame, size_t size) const;
  void restoreTables(const char *program,
                     const std::map<std::string, std::vector<Command>> &tables);
  void runEbtables(const std::map<std::string, std::vector<Command>> &tables);
  void write(const Probe &probe, uint16_t id);
  bool hear(int socket, bool frames, std::vector<Arrival> &arrivals);
  bool drain(const std::vector<const Probe *> &probes, std::vector<Arrival> &arrivals);
  void readFrame(const Port &port, uint8_t *frame, size_t size,
                 const std::vector<const Probe *> &probes, std::vector<Arrival> &arrivals);
  void tellNeighbours(uint64_t interface, uint64_t first, uint64_t count);
  bool answerArp(const Port &port, const uint8_t *frame, size_t size);
  Arrival *ofNumber(uint16_t number, std::vector<Arrival> &arrivals);

  const Situation &situation_;
  Tables tables_;
  std::map<size_t, std::string> refused_;
  std::vector<Port> ports_;
  std::vector<int> raw_;     // has what is delivered
  std::vector<int> frames_;  // has frames that are no IPv4
  std::vector<int> sessions_;
  int own_ = -1;  // sends what the router itself does
  int netlink_ = -1;
  std::vector<int> listeners_;
  uint16_t first_number_ = 1;
};

}  // namespace judge

#endif
