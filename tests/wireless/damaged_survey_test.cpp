// Survey lists with damage of every kind: whatever comes over the air, the page
// gets a text that it can read, and nothing outside the list is touched.
#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <random>

#include "orba_util.h"
#include "sim/radio.h"

namespace {

using sim::Bytes;

// ORBA_DAMAGED_LISTS asks for more of them.
const char *const wanted = getenv("ORBA_DAMAGED_LISTS");
const int kLists = wanted != nullptr ? atoi(wanted) : 10000;

const std::vector<Bytes> kIntact = {
    sim::encodeNetwork({"home", "00:11:22:33:44:55", 6, -55, {"WPA-PSK", "WPA2", "TKIP", "AES"}}),
    sim::encodeNetwork({"", "00:11:22:33:44:56", 36, -100, {"WPA2-PSK", "CCKM", "AES"}}),
    sim::encodeNetwork({std::string(32, '\''), "00:11:22:33:44:57", 216, 5, {"WEP"}}),
    sim::encodeNetwork({"a\001b;c/d\\<e>&\"f", "00:11:22:33:44:58", 14, -70, {"ad-hoc", "WPA"}}),
    sim::encodeNetwork({"x", "00:11:22:33:44:59", 1, -85, {"open"}})};

// Where damage tells most: at the lengths, and by numbers near their bounds.
const size_t kLengths[] = {0, 4, 16, 16 + 60, 4 + 72, 4 + 112, 4 + 129};
const uint32_t kTelling[] = {0,       1,       12,         13,         33,        95,     96,
                             104,     105,     116,        0xFF,       0x100,     0xFFFF, 0x1FFFC,
                             0x1FFFD, 0x20000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

// A list of some intact records, then damaged in up to eight places. Random, and
// the same everywhere.
Bytes damagedList(std::mt19937 &random) {
  auto below = [&random](size_t limit) { return static_cast<uint32_t>(random() % limit); };
  std::vector<Bytes> records;
  for (uint32_t i = below(8); i > 0; i--) records.push_back(kIntact[below(kIntact.size())]);
  Bytes list = sim::encodeList(records, static_cast<uint32_t>(records.size()));
  for (uint32_t i = below(8); i > 0; i--) {
    size_t place = below(2) == 0 ? kLengths[below(std::size(kLengths))] : below(list.size());
    place = std::min(place, list.size() - 1);
    auto byte = static_cast<uint8_t>(random());
    uint32_t kind = below(5);
    if (kind == 0) list[place] = byte;
    if (kind == 1) list[place] ^= static_cast<uint8_t>(1 << below(8));
    if (kind == 2) sim::putNumber(list, place, kTelling[below(std::size(kTelling))]);
    if (kind == 3) list.insert(list.begin() + static_cast<long>(place), below(40), byte);
    if (kind == 4 && place >= 4) list.resize(place);
  }
  if (list.size() > 65535) list.resize(65535);
  return list;
}

// Objects whose values are quoted texts without anything that would end them
// early, in one array; a comma may stand behind the last.
std::string readable() {
  std::string object;
  for (const char *name :
       {"ssid", "bssid", "rssi", "channel", "encryption", "auth", "network_type"}) {
    object += std::string(object.empty() ? "" : ",") + name + ":'[^[:cntrl:]<>\\\"/']*'";
  }
  return "Content-Type: text/html\n\n\\[((\\{" + object + "\\}),?)*\\]";
}

TEST(DamagedSurvey, IsAlwaysReadable) {
  sim::Device device;
  device.withoutConsole();
  sim::Radio &radio = device.part<sim::Radio>();
  const testing::Matcher<const std::string &> is_readable = testing::MatchesRegex(readable());
  std::mt19937 random(20261121);
  int answers = 0, empty = 0, objects = 0;
  for (int i = 0; i < kLists; i++) {
    radio.value(0x0609, damagedList(random)).forget();
    device.forget();
    errno = 0;
    ASSERT_EQ(printStaBssidList(), 0) << "list " << i;
    std::string printed = device.printed();
    if (printed.empty()) {
      empty++;
      continue;
    }
    ASSERT_THAT(printed, is_readable) << "list " << i;
    answers++;
    objects += static_cast<int>(std::count(printed.begin(), printed.end(), '{'));
  }
  // The damage leaves enough to be read, or nothing would be tried here.
  EXPECT_GT(answers, kLists / 2);
  EXPECT_GT(empty, 0);
  EXPECT_GT(objects, answers);
}

}  // namespace
