// The networks of a text file: what a user may write, and what he is told.
#include "sim/neighbourhood.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

TEST(Neighbourhood, NamesMayHoldAnyByte) {
  auto networks =
      sim::readNeighbourhood("\n# none\n\"a\\x00\\\"\\\\ b\\xfF\"\t00:11:22:33:44:55 6 -5\n");
  ASSERT_EQ(networks.size(), 1u);
  EXPECT_EQ(networks[0].ssid, std::string("a\0\"\\ b\xff", 7));
  EXPECT_EQ(networks[0].signal, -5);
}

TEST(Neighbourhood, SaysWhatItCannotRead) {
  const std::pair<const char *, const char *> cases[] = {
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
  for (const auto &[text, fault] : cases) {
    try {
      sim::readNeighbourhood(text);
      ADD_FAILURE() << text;
    } catch (const std::invalid_argument &error) {
      EXPECT_STREQ(error.what(), fault);
    }
  }
}

}  // namespace
