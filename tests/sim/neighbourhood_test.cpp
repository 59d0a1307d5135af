// The networks of a text file, as the library's survey shows them.
#include "sim/neighbourhood.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "orba_util.h"
#include "sim/radio.h"

namespace {

TEST(Neighbourhood, OfTheExample) {
  std::ifstream file(ORBA_EXAMPLES "/neighbourhood.txt");
  std::ostringstream text;
  text << file.rdbuf();
  sim::Device device;
  device.part<sim::Radio>().networks(sim::readNeighbourhood(text.str()));
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(),
            "Content-Type: text/html\n\n["
            "{ssid:'Home&#39;s AP',bssid:'00:11:22:33:44:55',rssi:'89%',channel:'6',"
            "encryption:'TKIP; AES',auth:'WPA-PSK; WPA2-PSK',network_type:'Infrastructure'},"
            "{ssid:'Corner Cafe',bssid:'00:1A:2B:00:00:01',rssi:'44%',channel:'11',"
            "encryption:'Not Use',auth:'OPEN',network_type:'Infrastructure'},"
            "{ssid:'attic',bssid:'00:1A:2B:00:00:02',rssi:'13%',channel:'1',"
            "encryption:'WEP',auth:'Unknown',network_type:'Infrastructure'},"
            "{ssid:'Office &lt;2nd&gt;',bssid:'00:1A:2B:00:00:03',rssi:'100%',channel:'13',"
            "encryption:'AES',auth:'WPA2',network_type:'Infrastructure'},"
            "{ssid:'Old office',bssid:'00:1A:2B:00:00:04',rssi:'60%',channel:'3',"
            "encryption:'TKIP',auth:'WPA',network_type:'Infrastructure'},"
            "{ssid:'laptop',bssid:'00:1A:2B:00:00:05',rssi:'24%',channel:'10',"
            "encryption:'AES',auth:'WPA2-NONE',network_type:'Ad Hoc'},"
            "{ssid:'&amp;nbsp',bssid:'00:1A:2B:00:00:06',rssi:'0%',channel:'9',"
            "encryption:'AES',auth:'WPA2-PSK',network_type:'Infrastructure'},"
            "{ssid:'&nbsp;',bssid:'00:1A:2B:00:00:07',rssi:'76%',channel:'4',"
            "encryption:'AES',auth:'WPA2-PSK',network_type:'Infrastructure'}]");
}

TEST(Neighbourhood, NamesMayHoldAnyByte) {
  auto networks =
      sim::readNeighbourhood("\n# none\n\"a\\x00\\\"\\\\ b\\xfF\"\t00:11:22:33:44:55 6 -5\n");
  ASSERT_EQ(networks.size(), 1u);
  EXPECT_EQ(networks[0].ssid, std::string("a\0\"\\ b\xff", 7));
  EXPECT_EQ(networks[0].signal, -5);
}

TEST(Neighbourhood, SaysWhatItCannotRead) {
  struct {
    const char *text;
    const char *fault;
  } cases[] = {
      {"home 00:11:22:33:44:55 6 -5", "line 1: a name in double quotes is missing"},
      {"#\n\"home", "line 2: the name's closing quote is missing"},
      {"\"\\n\" 00:11:22:33:44:55 6 -5", "line 1: only \\\" \\\\ and \\xHH are known"},
      {"\"\\xg1\" 00:11:22:33:44:55 6 -5", "line 1: only \\\" \\\\ and \\xHH are known"},
      {"\"\\x1", "line 1: only \\\" \\\\ and \\xHH are known"},
      {"\"home\" 00:11:22:33:44 6 -5", "line 1: not an address: 00:11:22:33:44"},
      {"\"home\" 00:11:22:33:44:55 six",
       "line 1: address, channel and signal must follow the name"},
      {"\"home\" 00:11:22:33:44:55 6 -5 WPA3", "line 1: unknown word: WPA3"},
      {"\"123456789012345678901234567890123\" 00:11:22:33:44:55 6 -5",
       "line 1: the name is longer than 32 bytes"},
  };
  for (const auto &c : cases) {
    try {
      sim::readNeighbourhood(c.text);
      ADD_FAILURE() << c.text;
    } catch (const std::invalid_argument &error) {
      EXPECT_STREQ(error.what(), c.fault);
    }
  }
}

}  // namespace
