// The traffic answer of the status page, whole, and what it takes to make it.
#include <gmock/gmock.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/radio.h"
#include "sim/switch.h"

namespace {

using sim::Device;
using sim::Radio;
using sim::Switch;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kNoTraffic[] = "@0,0,0,0,0,0,0,0";

std::string times(int count, const std::string &text) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

class PacketStatistics : public testing::Test {
 protected:
  PacketStatistics() : ports_(device_.part<Switch>()), radio_(device_.part<Radio>()) {
    device_.settings({{"OperationMode", "1"},
                      {"wan2Vid", "30"},
                      {"wan4Vid", "40"},
                      {"WirelessOPMode", "0"},
                      {"OperatingBandRepeater", "1"},
                      {"WlanEnabled", "1;0;0;0"}});
    device_.buffered({{"WlanEnabled", "1;0;10;2"}}, 2);
    device_.file("/proc/net/dev",
                 "Inter-|   Receive                            |  Transmit\n"
                 " face |bytes packets errs drop fifo frame compressed multicast|bytes packets\n"
                 "a line without the mark\n"
                 "  eth2: 1 2 3 4 5 6 7 8 9 10\n"
                 "  eth2.2: 9000000000 42 0 0 0 0 0 0 5000000000 21 0 0 0 0 0 0\n"
                 " eth2.30:1000 4 0 0 0 0 0 0 300 2 0 0 0 0 0 0\n"
                 " eth2.40: 7 8 0 0 0 0 0 0 x\n"  // no digit, and a column that is not there
                 "     ra0: 77 7 0 0 0 0 0 0 66 6 0 0 0 0 0 0\n");
    device_.answer("get_count_assoc", "2\n");
    device_.file("/tmp/wifi_statistic", "11 12\n13 14 15 16 17 18446744073709551615\n");
    for (uint32_t i = 0; i < 4; i++) {
      radio_.counters({10 + i, 20 + i, 4294967295u - i, 40 + i}, "ra" + std::to_string(i));
    }
  }

  std::string answer() {
    std::vector<char> out(1024, '#');
    result_ = getCurrentPacketStatistic(out.data());
    return std::string(out.data(), strnlen(out.data(), out.size()));
  }
  // The question for the module's stations; empty when only the switch is asked.
  std::string moduleQuery() {
    std::string last = device_.pipes().back();
    return last.rfind("switch reg r 00004", 0) == 0 ? "" : last;
  }

  Device device_;
  Switch &ports_;
  Radio &radio_;
  int result_ = 0;

  const std::string wans_ =
      "21,42,5000000000,9000000000,0,0,0,0@2,4,300,1000,0,0,0,0@0,0,0,0,0,0,0,0@0,8,0,7,0,0,0,0";
  const std::string radios_ =
      "@20,10,40,4294967295,0,0,0,0@21,11,41,4294967294,0,0,0,0"
      "@22,12,42,4294967293,0,0,0,0@23,13,43,4294967292,0,0,0,0";
  const std::string module_ = "@11,12,13,14,15,16,17,18446744073709551615";
};

TEST_F(PacketStatistics, OfAllInterfaces) {
  // Each counter a different power of two, so that a wrong sum shows; halves are
  // joined as text, so that 5 and 1 make 0x15.
  const uint32_t offsets[] = {0x00, 0x04, 0x08, 0x0C, 0x10, 0x60, 0x68, 0x6C,
                              0x70, 0x74, 0x78, 0x7C, 0x80, 0x84, 0x88};
  uint32_t value = 1;
  for (uint32_t offset : offsets) ports_.counter(3, offset, value), value *= 2;
  ports_.counter(3, 0x48, 5).counter(3, 0x4C, 1).counter(3, 0xA8, 0x10000000).counter(3, 0xAC, 1);
  ports_.counter(2, 0x48, 0x90000000).counter(2, 0xA8, 5);
  ports_.counter(0, 0x08, 4294967295u).counter(0, 0x0C, 4294967295u).counter(0, 0x10, 4294967295u);

  EXPECT_EQ(answer(), wans_ + "@28,448,21,4563402752,1,32,2,32256" + "@0,0,2415919104,5,0,0,0,0" +
                          kNoTraffic + "@12884901885,0,0,0,0,0,0,0" + radios_ + module_ +
                          kNoTraffic + module_ + kNoTraffic);
  EXPECT_EQ(result_, 1);
  EXPECT_THAT(device_.commands(),
              ElementsAre("wlan_5G.sh \"Statistic\" \"0\"", "wlan_5G.sh \"Statistic\" \"2\""));
  EXPECT_THAT(device_.writes(), IsEmpty());

  // The switch tool's registers, spelled as ever. Halves beyond 32 bits, as those
  // of port 3, take one more look each.
  std::vector<std::string> port;
  for (const char *reg : {"08", "0C", "10", "68", "6C", "70", "4C", "4C", "48", "AC", "AC",
                          "A8", "00", "60", "04", "74", "78", "7c", "80", "84", "88"}) {
    port.push_back(std::string("switch reg r 000043") + reg);
  }
  std::vector<std::string> pipes = device_.pipes();
  EXPECT_EQ(std::vector<std::string>(pipes.begin(), pipes.begin() + 21), port);
  EXPECT_EQ(pipes.size(), 21u + 3 * 19 + 1) << "so 85 at most";
}

TEST_F(PacketStatistics, ShowsTheModulesOldNumbersWithoutStations) {
  for (const char *count : {"0\n", ""}) {
    device_.answer("get_count_assoc", count);
    EXPECT_EQ(answer(),
              wans_ + times(4, kNoTraffic) + radios_ + module_ + kNoTraffic + module_ + kNoTraffic);
    EXPECT_THAT(device_.commands(), IsEmpty());
  }
  // Before there are new ones, a file that is not ours makes room for them.
  std::string file = device_.root().forWriting("/tmp/wifi_statistic");
  std::filesystem::remove(file);
  std::filesystem::create_symlink("/dev/null", file);
  device_.answer("get_count_assoc", "1\n");
  EXPECT_EQ(answer(), wans_ + times(4, kNoTraffic) + radios_ + times(4, kNoTraffic));
  EXPECT_EQ(device_.text("/tmp/wifi_statistic"), "");
  EXPECT_FALSE(std::filesystem::is_symlink(file));
}

TEST_F(PacketStatistics, OfRadiosThatAreSilentOffOrUnset) {
  device_.settings({{"WirelessOPMode", "2"}});
  EXPECT_EQ(answer(), wans_ + times(12, kNoTraffic));
  EXPECT_EQ(moduleQuery(), "");
  EXPECT_THAT(device_.commands(), IsEmpty());

  device_.settings({{"WirelessOPMode", "0"}, {"WlanEnabled", "0;1;1;1"}});
  device_.buffered({{"WlanEnabled", ";1"}}, 2);
  device_.file("/tmp/wifi_statistic", "5 x 7");
  EXPECT_EQ(answer(), wans_ + times(9, kNoTraffic) + "@5,0,0,0,0,0,0,0" + times(2, kNoTraffic));
  EXPECT_THAT(radio_.seen(), IsEmpty());
  device_.removeFile("/tmp/wifi_statistic");
  EXPECT_EQ(answer(), wans_ + times(12, kNoTraffic));

  // Without the setting the 2.4 GHz driver is asked, and the module is not.
  device_.remove("WlanEnabled").remove("WlanEnabled", 2);
  EXPECT_EQ(answer(), wans_ + times(4, kNoTraffic) + radios_ + times(4, kNoTraffic));
}

TEST_F(PacketStatistics, CountsTheStationsOfTheInterfaceInUse) {
  const char *const kCases[][3] = {
      {"0", "1", "wifi0"}, {"3", "1", "wifi1"}, {"3", "3", "wifi0"}, {"3", "", "wifi1"}};
  for (const auto &[mode, band, interface] : kCases) {
    device_.buffered({{"WirelessOPMode", mode}, {"OperatingBandRepeater", band}});
    answer();
    EXPECT_EQ(moduleQuery(),
              std::string("call_qcsapi_sockrpc --host 1.1.1.2 get_count_assoc ") + interface);
  }
  device_.unstartable("get_count_assoc");
  EXPECT_EQ(answer(), std::string(1024, '#'));
  EXPECT_EQ(result_, -1);
}

TEST_F(PacketStatistics, ShowsWhatCouldNotBeReadAndIsCutToItsBuffer) {
  device_.unstartable("switch reg r").removeFile("/proc/net/dev");
  EXPECT_EQ(answer(), "-1,-1,-1,-1,0,0,0,0" + times(3, "@-1,-1,-1,-1,0,0,0,0") +
                          times(4, "@-3,-3,9223372036854775807,9223372036854775807,-1,-1,-1,-6") +
                          radios_ + module_ + kNoTraffic + module_ + kNoTraffic);
  EXPECT_EQ(device_.printed(), times(16, "no proc?\n"));

  device_.buffered({{"WlanEnabled", "1;1;1;1"}}, 2);
  device_.file("/tmp/wifi_statistic", times(8, "99999999999999999999999 "));
  EXPECT_EQ(answer().size(), 1023u);
  EXPECT_EQ(result_, 1);
}

TEST(SwitchRegister, IsTakenFromTheReply) {
  Device device;
  const std::pair<const char *, long long> kReplies[] = {
      {"switch reg read offset=80, value=1f4\n", 500},
      {"value==a", 10},
      {"value=-1\n", -1},
      {"value=ffffffffffffffff\n", 9223372036854775807},
      {"no such register\nvalue=5\n", 0},
      {"", 0},
      {"0123456789012345678901234567890123456789012345678901234 value=123456\n", 0x1},
  };
  for (const auto &[reply, value] : kReplies) {
    device.answer("switch reg r 80", reply);
    EXPECT_EQ(reedSwitchReg("80"), value) << reply;
  }
  device.forget();
  reedSwitchReg("80; reboot");
  EXPECT_THAT(device.pipes(), ElementsAre("switch reg r '80; reboot'"));
  EXPECT_EQ(reedSwitchReg(std::string(2000, 'a').c_str()), -1);
}

using Getters = std::vector<int (*)(char *, int, char **)>;

// What the getters answer to these arguments.
std::string ask(const Getters &getters, std::vector<std::string> arguments = {}) {
  std::vector<char *> argv;
  for (std::string &argument : arguments) argv.push_back(argument.data());
  std::string answers;
  for (auto getter : getters) {
    char out[24] = "-";
    bool failed = getter(out, static_cast<int>(argv.size()), argv.data()) != 1;
    answers += std::string(out) + (failed ? " failed " : " ");
  }
  return answers;
}

TEST_F(PacketStatistics, OfSingleCounters) {
  Getters lan = {getLANTxPacketASP, getLANRxPacketASP, getLANTxByteASP, getLANRxByteASP};
  Getters wlan = {getWLANTxPacketASP, getWLANRxPacketASP, getWLANTxByteASP, getWLANRxByteASP};
  Getters wan = {getWANTxPacketASP, getWANRxPacketASP, getWANTxByteASP, getWANRxByteASP};
  Getters ra = {getRaTxPacketASP, getRaRxPacketASP, getRaTxByteASP, getRaRxByteASP};
  device_.settings({{"wan3Vid", "30"}, {"wan2Vid", ""}});
  EXPECT_EQ(ask(lan), "-1 -1 -1 -1 ");
  EXPECT_EQ(ask(wlan), "6 7 66 77 ");
  EXPECT_EQ(ask(wan, {"1 and more"}), "21 42 5000000000 9000000000 ");
  EXPECT_EQ(ask(wan, {"3"}), "2 4 300 1000 ");
  EXPECT_EQ(ask(wan, {"2"}) + ask(wan, {"9"}), "0 0 0 0 0 0 0 0 ");
  EXPECT_EQ(ask(wan, {"0"}) + ask(wan, {"-1"}) + ask(wan), "- - - - - - - - - - - - ");
  EXPECT_EQ(ask(ra), "20 10 40 4294967295 ");
  EXPECT_EQ(ask(ra, {"ra3"}), "23 13 43 4294967292 ");
  EXPECT_EQ(ask(ra, {"ra3", "ra3"}), "20 10 40 4294967295 ");
  EXPECT_EQ(ask(ra, {"wlan0-with-a-long-name"}), "- failed - failed - failed - failed ");
  int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  EXPECT_EQ(ask(ra), "20 10 40 4294967295 ") << "through descriptor 0";
  dup2(input, STDIN_FILENO);
  close(input);
  device_.withoutSockets();
  EXPECT_EQ(ask(ra), "- failed - failed - failed - failed ");
  char seconds[24];
  EXPECT_EQ(getTuStatusFrameRefreshTimeout(seconds), 1);
  EXPECT_STREQ(seconds, "10");
}

}  // namespace
