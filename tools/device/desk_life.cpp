#include "tools/device/desk_life.h"

#include <cmath>
#include <cstdio>
#include <numbers>
#include <sstream>

#include "net/interface_name.h"
#include "sim/radio.h"
#include "sim/switch.h"
#include "tools/device/usual_device.h"

namespace orba::tool {

namespace {

// How far a wave of this period has carried by `seconds`, beyond a steady flow.
double carriedBy(double period, double seconds) {
  constexpr double kTurn = 2 * std::numbers::pi;
  return period / kTurn * (1 - std::cos(kTurn * seconds / period));
}

double wave(double period, double seconds) {
  return std::sin(2 * std::numbers::pi * seconds / period);
}

using Count = unsigned long long;

// Traffic that comes and goes in two waves, never below nothing.
struct Flow {
  double received, sent;  // bytes a second on average
  double period;          // in seconds

  static constexpr double kPacket = 700;

  Count total(double rate, double seconds) const {
    double steady =
        seconds + 0.6 * carriedBy(period, seconds) + 0.3 * carriedBy(period / 3.7, seconds);
    return static_cast<Count>(rate * steady);
  }
  Count receivedBytes(double seconds) const { return total(received, seconds); }
  Count sentBytes(double seconds) const { return total(sent, seconds); }
  Count receivedPackets(double seconds) const { return total(received / kPacket, seconds); }
  Count sentPackets(double seconds) const { return total(sent / kPacket, seconds); }
};

constexpr Flow kBridge = {130e3, 920e3, 61};
constexpr Flow kWanFlows[kWans] = {
    {900e3, 120e3, 60}, {210e3, 30e3, 41}, {64e3, 60e3, 23}, {9e3, 4e3, 17}};
constexpr Flow kPorts[] = {
    {24e3, 310e3, 53}, {70e3, 260e3, 37}, {6e3, 9e3, 19}, {900e3, 120e3, 60}};
constexpr Flow kRadioNetworks[] = {{28e3, 190e3, 47}, {5e3, 22e3, 29}, {0, 0, 1}, {0, 0, 1}};
constexpr Flow kModule = {41e3, 330e3, 43};

struct Traffic {
  std::string interface;
  Flow flow;
};

std::vector<Traffic> trafficOf() {
  std::vector<Traffic> all = {{"br0", kBridge}, {"ra0", kRadioNetworks[0]}};
  for (int wan = 1; wan <= kWans; wan++) {
    InterfaceName name;
    wanDevice(wan, name);
    if (!name.empty() && !name.is("br0")) all.push_back({name.text(), kWanFlows[wan - 1]});
  }
  return all;
}

// The kernel's table of interfaces, each grown by what passed.
std::string netDev(const std::string &before, double seconds) {
  constexpr size_t kColumns = 16, kSent = 8;
  std::string text = usualHead("/proc/net/dev", 2);
  for (const Traffic &traffic : trafficOf()) {
    std::vector<Count> columns(kColumns);
    std::istringstream lines(before);
    for (std::string line; std::getline(lines, line);) {
      size_t colon = line.find(':'), first = line.find_first_not_of(' ');
      if (colon == std::string::npos || line.substr(first, colon - first) != traffic.interface)
        continue;
      std::istringstream numbers(line.substr(colon + 1));
      for (Count &column : columns) numbers >> column;
    }
    columns[0] += traffic.flow.receivedBytes(seconds);
    columns[1] += traffic.flow.receivedPackets(seconds);
    columns[kSent] += traffic.flow.sentBytes(seconds);
    columns[kSent + 1] += traffic.flow.sentPackets(seconds);
    text += std::string(traffic.interface.size() < 6 ? 6 - traffic.interface.size() : 0, ' ') +
            traffic.interface + ":";
    for (Count column : columns) text += " " + std::to_string(column);
    text += "\n";
  }
  return text;
}

std::string memInfo(const std::string &before, double seconds) {
  int total = 0;
  size_t at = before.find("MemTotal:");
  if (at != std::string::npos) sscanf(before.c_str() + at, "MemTotal: %9d", &total);
  if (total <= 0) total = 60000;
  int free = static_cast<int>(total * (0.26 + 0.05 * wave(67, seconds) + 0.02 * wave(9, seconds)));
  return "MemTotal: " + std::to_string(total) + " kB\nMemFree: " + std::to_string(free) + " kB\n";
}

// The counters of one port's block of registers.
void putPort(sim::Switch &ethernet, int port, const Flow &flow, double seconds) {
  auto octets = [&](uint32_t low, uint32_t high, Count count) {
    ethernet.counter(port, low, static_cast<uint32_t>(count));
    ethernet.counter(port, high, static_cast<uint32_t>(count >> 32));
  };
  octets(0x48, 0x4C, flow.sentBytes(seconds));
  octets(0xA8, 0xAC, flow.receivedBytes(seconds));
  ethernet.counter(port, 0x08, static_cast<uint32_t>(flow.sentPackets(seconds)));
  ethernet.counter(port, 0x68, static_cast<uint32_t>(flow.receivedPackets(seconds)));
}

// Ports 0 to 4: a bit each from bit 25 on for the link, from bit 0 on for the
// other flag. What is plugged into port 2 sleeps half of the time.
uint32_t linksAt(double seconds) {
  uint32_t up = std::fmod(seconds, 60) < 30 ? 0b11111 : 0b11011;
  return up << 25 | (up & 0b11010);
}

// The programs whose output the library reads.
class Programs : public sim::Part {
 public:
  using Part::Part;
  void at(double seconds) { seconds_ = seconds; }

  std::optional<std::string> outputOf(const std::string &command) override {
    if (command.rfind("top -n 1", 0) == 0) return top();
    if (command.find("get_count_assoc") != std::string::npos) return "2\n";
    int network = 0;
    if (sscanf(command.c_str(), "wlan_5G.sh \"Statistic\" \"%1d\"", &network) == 1) {
      device_.file("/tmp/wifi_statistic", moduleStatistic(network));
      return "";
    }
    return {};
  }

 private:
  std::string top() const {
    int usr = static_cast<int>(9 + 6 * wave(31, seconds_) + 2 * wave(5, seconds_));
    int sys = static_cast<int>(4 + 2 * wave(13, seconds_));
    int softirq = static_cast<int>(3 + 2 * wave(23, seconds_));
    char line[128];
    snprintf(line, sizeof line,
             "CPU: %d%% usr %d%% sys 0%% nice %d%% idle 0%% io 0%% irq %d%% softirq\n", usr, sys,
             100 - usr - sys - softirq, softirq);
    return line;
  }

  std::string moduleStatistic(int network) const {
    if (network != 0) return "0 0 0 0 0 0 0 0\n";
    std::string text;
    for (Count count : {kModule.sentPackets(seconds_), kModule.receivedPackets(seconds_),
                        kModule.sentBytes(seconds_), kModule.receivedBytes(seconds_)}) {
      text += std::to_string(count) + " ";
    }
    return text + "0 0 0 0\n";
  }

  double seconds_ = 0;
};

constexpr long long kUptimeAtFirst = 93'784;  // a day, two hours and some

}  // namespace

void letLive(sim::Device &device, long long milliseconds, time_t started_at) {
  double seconds = static_cast<double>(milliseconds) / 1000;
  device.clock().set(started_at);
  device.uptime(kUptimeAtFirst).advance(milliseconds);
  device.file("/proc/net/dev", netDev(device.text("/proc/net/dev").value_or(""), seconds));
  device.file("/proc/meminfo", memInfo(device.text("/proc/meminfo").value_or(""), seconds));
  device.part<Programs>().at(seconds);
  sim::Switch &ethernet = device.part<sim::Switch>().set(0x80, linksAt(seconds));
  for (int port = 0; port < static_cast<int>(std::size(kPorts)); port++) {
    putPort(ethernet, port, kPorts[port], seconds);
  }
  for (size_t i = 0; i < std::size(kRadioNetworks); i++) {
    const Flow &flow = kRadioNetworks[i];
    device.part<sim::Radio>().counters({static_cast<uint32_t>(flow.receivedPackets(seconds)),
                                        static_cast<uint32_t>(flow.sentPackets(seconds)),
                                        static_cast<uint32_t>(flow.receivedBytes(seconds)),
                                        static_cast<uint32_t>(flow.sentBytes(seconds))},
                                       "ra" + std::to_string(i));
  }
}

}  // namespace orba::tool
