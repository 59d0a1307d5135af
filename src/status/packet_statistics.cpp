// The traffic of all interfaces as one answer for the status page.
#include <cstdio>

#include "core/file.h"
#include "core/net_dev.h"
#include "core/rule_list.h"
#include "core/setting.h"
#include "net/interface_name.h"
#include "orba_util.h"
#include "status/radio_counter.h"

namespace orba {

namespace {

// Sixteen groups of eight numbers; what does not fit is cut.
using Answer = Text<1024>;

constexpr int kRadioInterfaces = 4;
constexpr int kModuleInterfaces = 4;
constexpr char kNoTraffic[] = "@0,0,0,0,0,0,0,0";

void addWan(Answer &answer, int wan) {
  InterfaceName name;
  wanDevice(wan, name);
  long long sent = readNetDevCounter(name.text(), kSentPackets);
  long long received = readNetDevCounter(name.text(), kReceivedPackets);
  long long sent_bytes = readNetDevCounter(name.text(), kSentBytes);
  long long received_bytes = readNetDevCounter(name.text(), kReceivedBytes);
  answer.append(wan == 1 ? "" : "@")
      .format("%lld,%lld,%lld,%lld,0,0,0,0", sent, received, sent_bytes, received_bytes);
}

enum Counter {
  kSentDrops,
  kSentCrcErrors,
  kSentUnicast,
  kSentMulticast,
  kSentBroadcast,
  kSentBytesLow,
  kSentBytesHigh,
  kReceivedDrops,
  kReceivedUnicast,
  kReceivedMulticast,
  kReceivedBroadcast,
  kAlignmentErrors,
  kCrcErrors,
  kUndersize,
  kFragments,
  kOversize,
  kJabbers,
  kReceivedBytesLow,
  kReceivedBytesHigh,
  kCounters,
};

// The counters' registers in the block of one port, 0x4000 + 0x100 * port. The names
// are spelled as the switch tool has always been given them, the one in lower case
// among them.
class PortRegisters {
 public:
  explicit PortRegisters(int port) {
    for (int i = 0; i < kCounters; i++) names_[i].format(kNames[i], port);
  }
  const char *operator[](Counter counter) const { return names_[counter].text(); }

 private:
  static constexpr char kNames[kCounters][sizeof "00004%d00"] = {
      "00004%d00", "00004%d04", "00004%d08", "00004%d0C", "00004%d10", "00004%d48", "00004%d4C",
      "00004%d60", "00004%d68", "00004%d6C", "00004%d70", "00004%d74", "00004%d78", "00004%d7c",
      "00004%d80", "00004%d84", "00004%d88", "00004%dA8", "00004%dAC",
  };

  Text<16> names_[kCounters];
};

void addSwitchPort(Answer &answer, int port) {
  PortRegisters reg(port);
  long long sent = getSwitchPacket(reg[kSentUnicast], reg[kSentMulticast], reg[kSentBroadcast]);
  long long received =
      getSwitchPacket(reg[kReceivedUnicast], reg[kReceivedMulticast], reg[kReceivedBroadcast]);
  long long sent_bytes = getSwitchBytes(reg[kSentBytesLow], reg[kSentBytesHigh]);
  long long received_bytes = getSwitchBytes(reg[kReceivedBytesLow], reg[kReceivedBytesHigh]);
  long long sent_drops = reedSwitchReg(reg[kSentDrops]);
  long long received_drops = reedSwitchReg(reg[kReceivedDrops]);
  long long sent_crc_errors = reedSwitchReg(reg[kSentCrcErrors]);
  long long received_errors =
      getSwitchRxError(reg[kAlignmentErrors], reg[kCrcErrors], reg[kUndersize], reg[kFragments],
                       reg[kOversize], reg[kJabbers]);
  answer.format("@%lld,%lld,%lld,%lld,%lld,%lld,%lld,%lld", sent, received, sent_bytes,
                received_bytes, sent_drops, received_drops, sent_crc_errors, received_errors);
}

// In this mode neither radio is asked, and all their groups read 0.
bool radiosAreSilent() {
  return setting("WirelessOPMode").is("2");
}

// False when the driver refuses.
bool addRadio(Answer &answer) {
  // The first field decides for all four interfaces.
  Record enabled(Slice{"", 0}, 0);
  RuleList(setting("WlanEnabled").text()).find(0, enabled);
  bool in_use = !enabled.slice().is("0") && !radiosAreSilent();

  RadioSocket radio;
  for (int i = 0; i < kRadioInterfaces; i++) {
    if (!in_use) {
      answer.append(kNoTraffic);
      continue;
    }
    Text<16> name;
    RadioCounters counters;
    if (!radio.read(name.format("ra%d", i).text(), counters)) return false;
    answer.format("@%u,%u,%u,%u,0,0,0,0", counters.sent_packets, counters.received_packets,
                  counters.sent_bytes, counters.received_bytes);
  }
  return true;
}

// The number of stations at the module as it tells it; false when it cannot be asked.
bool countStations(Text<4> &count) {
  count.assign("0");
  if (radiosAreSilent()) return true;
  bool repeats_on_wifi1 =
      setting("WirelessOPMode").is("3") && !setting("OperatingBandRepeater").is("3");
  Pipe pipe(repeats_on_wifi1 ? "call_qcsapi_sockrpc --host 1.1.1.2 get_count_assoc wifi1"
                             : "call_qcsapi_sockrpc --host 1.1.1.2 get_count_assoc wifi0");
  if (!pipe) return false;
  char word[4];
  if (fscanf(pipe.get(), "%3s", word) == 1) count.assign(word);
  return true;
}

constexpr char kModuleFile[] = "/tmp/wifi_statistic";

void addModuleFile(Answer &answer) {
  File file(openOurs(kModuleFile));
  if (!file) {
    answer.append(kNoTraffic);
    return;
  }
  unsigned long long number[8] = {};
  for (unsigned long long &each : number) {
    if (fscanf(file.get(), "%llu", &each) != 1) break;
  }
  answer.format("@%llu,%llu,%llu,%llu,%llu,%llu,%llu,%llu", number[0], number[1], number[2],
                number[3], number[4], number[5], number[6], number[7]);
}

// False when the module cannot be asked.
bool addModule(Answer &answer) {
  Text<4> stations;
  if (!countStations(stations)) return false;
  // Fields of one character: "10" is on.
  bool silent = radiosAreSilent();
  RuleList enabled(setting("WlanEnabled", kModuleSpace).text(), 2);
  for (int i = 0; i < kModuleInterfaces; i++) {
    Record field(Slice{"", 0}, i);
    enabled.find(i, field);
    if (silent || !field.slice().is("1")) {
      answer.append(kNoTraffic);
      continue;
    }
    // With no station there is nothing new: the file of an earlier run is shown
    // again.
    if (!stations.is("0") && claimFile(kModuleFile)) {
      doSystemWithoutConsole("wlan_5G.sh \"Statistic\" \"%d\"", i);
    }
    addModuleFile(answer);
  }
  return true;
}

}  // namespace

}  // namespace orba

int getCurrentPacketStatistic(char *dst) {
  orba::Answer answer;
  for (int wan = 1; wan <= orba::kWans; wan++) orba::addWan(answer, wan);
  for (int port = 3; port >= 0; port--) orba::addSwitchPort(answer, port);
  if (!orba::addRadio(answer) || !orba::addModule(answer)) return -1;
  orba::copyText(dst, answer.size(), answer.text());
  return 1;
}

int getTuStatusFrameRefreshTimeout(char *dst) {
  constexpr int kSeconds = 10;
  sprintf(dst, "%d", kSeconds);
  return 1;
}
