// The traffic answer of the status page, whole, and what it takes to make it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/radio_traffic.h"
#include "sim/switch.h"

namespace {

using sim::Device;
using sim::RadioTraffic;
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
  PacketStatistics() : ports_(device_.part<Switch>()), radio_(device_.part<RadioTraffic>()) {
    device_.settings({{"OperationMode", "1"},
                      {"wan2Vid", "30"},
                      {"WirelessOPMode", "0"},
                      {"OperatingBandRepeater", "1"},
                      {"WlanEnabled", "1;0;0;0"}});
    device_.settings({{"WlanEnabled", "1;0;10;2"}}, 2);
    device_.file("/proc/net/dev",
                 "Inter-|   Receive                            |  Transmit\n"
                 " face |bytes packets errs drop fifo frame compressed multicast|bytes packets\n"
                 "  eth2.2: 9000000000 42 0 0 0 0 0 0 5000000000 21 0 0 0 0 0 0\n"
                 " eth2.30:1000 4 0 0 0 0 0 0 300 2 0 0 0 0 0 0\n"
                 "     ra0: 77 7 0 0 0 0 0 0 66 6 0 0 0 0 0 0\n");
    device_.answer("get_count_assoc", "2\n");
    device_.file("/tmp/wifi_statistic", "11 12\n13 14 15 16 17 18446744073709551615\n");
    for (uint32_t i = 0; i < 4; i++) {
      radio_.set("ra" + std::to_string(i), {10 + i, 20 + i, 4294967295u - i, 40 + i});
    }
  }

  std::string answer() {
    std::vector<char> out(1024, '#');
    int descriptors = openDescriptors();
    result_ = getCurrentPacketStatistic(out.data());
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(device_.openPipes(), 0);
    return std::string(out.data(), strnlen(out.data(), out.size()));
  }
  static int openDescriptors() {
    std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<int>(std::distance(begin(all), end(all)));
  }
  std::vector<std::string> modulePipes() {
    std::vector<std::string> pipes = device_.pipes();
    pipes.erase(std::remove_if(pipes.begin(), pipes.end(),
                               [](const std::string &pipe) {
                                 return pipe.rfind("switch reg r 00004", 0) == 0;
                               }),
                pipes.end());
    return pipes;
  }

  Device device_;
  Switch &ports_;
  RadioTraffic &radio_;
  int result_ = 0;

  const std::string wans_ =
      "21,42,5000000000,9000000000,0,0,0,0@2,4,300,1000,0,0,0,0@0,0,0,0,0,0,0,0@0,0,0,0,0,0,0,0";
  const std::string radios_ =
      "@20,10,40,4294967295,0,0,0,0@21,11,41,4294967294,0,0,0,0"
      "@22,12,42,4294967293,0,0,0,0@23,13,43,4294967292,0,0,0,0";
  const std::string module_ = "@11,12,13,14,15,16,17,18446744073709551615";
};

TEST_F(PacketStatistics, OfAllInterfaces) {
  // Each counter a different power of two, so that a wrong sum shows.
  const uint32_t offsets[] = {0x00, 0x04, 0x08, 0x0C, 0x10, 0x60, 0x68, 0x6C,
                              0x70, 0x74, 0x78, 0x7C, 0x80, 0x84, 0x88};
  uint32_t value = 1;
  for (uint32_t offset : offsets) ports_.counter(3, offset, value), value *= 2;
  ports_.counter(3, 0x48, 0x90000000).counter(3, 0xA8, 5);
  ports_.counter(2, 0x48, 5).counter(2, 0x4C, 1).counter(2, 0xA8, 0x10000000).counter(2, 0xAC, 1);
  ports_.counter(0, 0x08, 4294967295u).counter(0, 0x0C, 4294967295u).counter(0, 0x10, 4294967295u);

  EXPECT_EQ(answer(), wans_ + "@28,448,2415919104,5,1,32,2,32256" + "@0,0,21,4563402752,0,0,0,0" +
                          kNoTraffic + "@12884901885,0,0,0,0,0,0,0" + radios_ + module_ +
                          kNoTraffic + module_ + kNoTraffic);
  EXPECT_EQ(result_, 1);
  EXPECT_THAT(device_.commands(),
              ElementsAre("wlan_5G.sh \"Statistic\" \"0\"", "wlan_5G.sh \"Statistic\" \"2\""));
  EXPECT_THAT(modulePipes(),
              ElementsAre("call_qcsapi_sockrpc --host 1.1.1.2 get_count_assoc wifi0"));
  // Port 2 has two counters beyond 32 bits, each of which takes one more look.
  EXPECT_EQ(ports_.toolReads(), 4 * 19 + 2);
  EXPECT_THAT(device_.writes(), IsEmpty());
}

TEST_F(PacketStatistics, NamesTheSwitchRegistersAsTheToolKnowsThem) {
  for (int port = 0; port < 4; port++) ports_.counter(port, 0x4C, 1).counter(port, 0xAC, 1);
  answer();
  std::vector<std::string> pipes = device_.pipes();
  ASSERT_EQ(pipes.size(), 84u + 1) << "the most that one answer may take";
  std::vector<std::string> first(pipes.begin(), pipes.begin() + 21);
  std::vector<std::string> expected;
  for (const char *reg : {"08", "0C", "10", "68", "6C", "70", "4C", "4C", "48", "AC", "AC",
                          "A8", "00", "60", "04", "74", "78", "7c", "80", "84", "88"}) {
    expected.push_back(std::string("switch reg r 000043") + reg);
  }
  EXPECT_EQ(first, expected);
}

TEST_F(PacketStatistics, AsksNoRadioInModeTwo) {
  device_.settings({{"WirelessOPMode", "2"}});
  EXPECT_EQ(answer(), wans_ + times(12, kNoTraffic));
  EXPECT_EQ(radio_.requests(), 0);
  EXPECT_THAT(modulePipes(), IsEmpty());
  EXPECT_THAT(device_.commands(), IsEmpty());
}

TEST_F(PacketStatistics, ShowsTheModulesOldNumbersWithoutStations) {
  for (const char *count : {"0\n", ""}) {
    device_.forget();
    device_.answer("get_count_assoc", count);
    EXPECT_EQ(answer(),
              wans_ + times(4, kNoTraffic) + radios_ + module_ + kNoTraffic + module_ + kNoTraffic);
    EXPECT_THAT(device_.commands(), IsEmpty());
  }
}

TEST_F(PacketStatistics, OfRadiosThatAreOffOrUnset) {
  device_.settings({{"WlanEnabled", "0;1;1;1"}});
  device_.settings({{"WlanEnabled", ";1"}}, 2);
  device_.file("/tmp/wifi_statistic", "5 x 7");
  EXPECT_EQ(answer(), wans_ + times(9, kNoTraffic) + "@5,0,0,0,0,0,0,0" + times(2, kNoTraffic));
  EXPECT_EQ(radio_.requests(), 0);
  device_.removeFile("/tmp/wifi_statistic");
  EXPECT_EQ(answer(), wans_ + times(12, kNoTraffic));

  // Without the setting the 2.4 GHz driver is asked, and the module is not.
  device_.remove("WlanEnabled").remove("WlanEnabled", 2);
  EXPECT_EQ(answer(), wans_ + times(4, kNoTraffic) + radios_ + times(4, kNoTraffic));
}

TEST_F(PacketStatistics, CountsTheStationsOfTheInterfaceInUse) {
  const struct {
    const char *mode, *band, *interface;
  } kCases[] = {{"3", "1", "wifi1"}, {"3", "3", "wifi0"}, {"3", "", "wifi1"}, {"1", "1", "wifi0"}};
  for (const auto &each : kCases) {
    device_.forget();
    device_.settings({{"WirelessOPMode", each.mode}, {"OperatingBandRepeater", each.band}});
    answer();
    EXPECT_THAT(modulePipes(),
                ElementsAre(std::string("call_qcsapi_sockrpc --host 1.1.1.2 get_count_assoc ") +
                            each.interface));
  }
}

TEST_F(PacketStatistics, FailsWithoutAnAnswer) {
  const std::string untouched(1024, '#');
  device_.unstartable("get_count_assoc");
  EXPECT_EQ(answer(), untouched);
  EXPECT_EQ(result_, -1);

  device_.part<RadioTraffic>().set("ra2", {});
  Device other;  // whose driver knows no interface at all
  other.part<RadioTraffic>();
  EXPECT_EQ(answer(), untouched);
  EXPECT_EQ(result_, -1);
  EXPECT_EQ(other.part<RadioTraffic>().requests(), 1) << "the first refusal ends it";
  EXPECT_THAT(other.commands(), IsEmpty());
}

TEST_F(PacketStatistics, ShowsWhatCouldNotBeRead) {
  device_.unstartable("switch reg r").removeFile("/proc/net/dev");
  EXPECT_EQ(answer(), "-1,-1,-1,-1,0,0,0,0" + times(3, "@-1,-1,-1,-1,0,0,0,0") +
                          times(4, "@-3,-3,9223372036854775807,9223372036854775807,-1,-1,-1,-6") +
                          radios_ + module_ + kNoTraffic + module_ + kNoTraffic);
  EXPECT_EQ(result_, 1);
  EXPECT_EQ(device_.printed(), times(16, "no proc?\n"));
}

TEST_F(PacketStatistics, IsCutToItsBuffer) {
  device_.unstartable("switch reg r").removeFile("/proc/net/dev");
  device_.settings({{"WlanEnabled", "1;1;1;1"}}, 2);
  device_.file("/tmp/wifi_statistic", times(8, "99999999999999999999999 "));
  std::string most = answer();
  EXPECT_EQ(most.size(), 1023u);
  EXPECT_EQ(result_, 1);
  EXPECT_EQ(most.substr(0, 20), "-1,-1,-1,-1,0,0,0,0@");
}

TEST(SwitchRegister, IsTakenFromTheReply) {
  Device device;
  const struct {
    const char *reply;
    long long value;
  } kReplies[] = {
      {"switch reg read offset=80, value=1f4\n", 500},
      {"value=0x0000e001", 0xe001},
      {"value==a", 10},
      {"value=-1\n", -1},
      {"value=ffffffffffffffff\n", 9223372036854775807},
      {"value\n", 0},
      {"value=\n", 0},
      {"no such register\nvalue=5\n", 0},
      {"", 0},
      {"0123456789012345678901234567890123456789012345678901234 value=123456\n", 0x1},
  };
  for (const auto &reply : kReplies) {
    device.answer("switch reg r 80", reply.reply);
    EXPECT_EQ(reedSwitchReg("80"), reply.value) << reply.reply;
  }
  device.forget();
  reedSwitchReg("80; reboot");
  EXPECT_THAT(device.pipes(), ElementsAre("switch reg r '80; reboot'"));
  EXPECT_EQ(reedSwitchReg(std::string(2000, 'a').c_str()), -1);
  EXPECT_EQ(device.openPipes(), 0);
}

TEST(SwitchRegister, HalvesAreJoinedAsText) {
  Device device;
  Switch &ports = device.part<Switch>();
  const struct {
    uint32_t low, high;
    long long bytes;
  } kCases[] = {
      {5, 1, 0x15},  // not 0x100000005
      {5, 0, 5},
      {0, 0, 0},
      {0, 2, 0x20},
      {0xFFFFFFFF, 0, 0xFFFFFFFF},
      {0x10000000, 1, 0x110000000},
      {0xFFFFFFFF, 0x7FFFFFFF, 0x7FFFFFFFFFFFFFFF},
      {0xFFFFFFFF, 0xFFFFFFFF, 0x7FFFFFFFFFFFFFFF},
  };
  for (const auto &each : kCases) {
    ports.set(0x4048, each.low).set(0x404C, each.high);
    EXPECT_EQ(getSwitchBytes("4048", "404C"), each.bytes) << each.high << " " << each.low;
  }
}

TEST_F(PacketStatistics, OfSingleCounters) {
  using Getter = int (*)(char *, int, char **);
  char two[] = "2", zero[] = "0", three[] = "3", minus[] = "-1", nine[] = "9", ra3[] = "ra3";
  char one[] = "1 and more", unknown[] = "wlan0-with-a-long-name";
  device_.settings({{"wan3Vid", "30"}});
  const struct {
    Getter getter;
    std::vector<char *> arguments;
    int result;
    std::string text;
  } kCases[] = {
      {getLANTxPacketASP, {}, 1, "-1"},
      {getLANRxPacketASP, {}, 1, "-1"},
      {getLANTxByteASP, {}, 1, "-1"},
      {getLANRxByteASP, {}, 1, "-1"},
      {getWLANTxPacketASP, {}, 1, "6"},
      {getWLANRxPacketASP, {}, 1, "7"},
      {getWLANTxByteASP, {}, 1, "66"},
      {getWLANRxByteASP, {}, 1, "77"},
      {getWANTxPacketASP, {one}, 1, "21"},
      {getWANRxPacketASP, {one}, 1, "42"},
      {getWANTxByteASP, {one}, 1, "5000000000"},
      {getWANRxByteASP, {one}, 1, "9000000000"},
      {getWANTxPacketASP, {two}, 1, "2"},
      {getWANTxPacketASP, {three}, 1, "2"},
      {getWANTxPacketASP, {nine}, 1, "0"},
      {getWANTxPacketASP, {zero}, 1, "untouched"},
      {getWANRxByteASP, {minus}, 1, "untouched"},
      {getWANRxByteASP, {}, 1, "untouched"},
      {getRaTxPacketASP, {}, 1, "20"},
      {getRaRxPacketASP, {}, 1, "10"},
      {getRaTxByteASP, {}, 1, "40"},
      {getRaRxByteASP, {}, 1, "4294967295"},
      {getRaTxPacketASP, {ra3}, 1, "23"},
      {getRaTxPacketASP, {ra3, ra3}, 1, "20"},
      {getRaTxPacketASP, {unknown}, -1, "untouched"},
      {getRaRxByteASP, {unknown}, -1, "untouched"},
  };
  int descriptors = openDescriptors();
  for (size_t i = 0; i < std::size(kCases); i++) {
    std::vector<char *> arguments = kCases[i].arguments;
    char out[24] = "untouched";
    EXPECT_EQ(kCases[i].getter(out, static_cast<int>(arguments.size()), arguments.data()),
              kCases[i].result)
        << i;
    EXPECT_EQ(out, kCases[i].text) << i;
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  device_.withoutSockets();
  char out[24] = "untouched";
  EXPECT_EQ(getTuStatusFrameRefreshTimeout(out), 1);
  EXPECT_STREQ(out, "10");
}

}  // namespace
