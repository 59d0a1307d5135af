// When the QoS program starts, and what the QoS pages ask before they save.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

namespace {

// A class record of 42 fields, with some of them set.
std::string classRecord(const std::map<int, std::string> &fields) {
  std::string record;
  for (int i = 0; i < 42; i++) {
    if (i > 0) record += ",";
    auto field = fields.find(i);
    record += field != fields.end() ? field->second : std::to_string(i);
  }
  return record;
}

}  // namespace

TEST(Qos, StartsForItselfOrForVlanClasses) {
  struct {
    const char *enabled, *vlan_classes;
    bool program, starts;
  } rows[] = {
      {"0", "", true, false},        {"1", "", true, true},      {"0", "0,a;0,b", true, false},
      {"0", "0,a;2,b;", true, true}, {"1", "1,a", false, false}, {"", "1", true, true},
  };
  for (const auto &row : rows) {
    sim::Device device;
    device.buffered({{"TuQoSEnable", row.enabled}, {"TuVLANClass", row.vlan_classes}});
    if (row.program) device.file("/bin/orba_qos", "");
    int result = orbaQoSInit();
    EXPECT_EQ(device.commands(), std::vector<std::string>(row.starts, "/bin/orba_qos"));
    EXPECT_TRUE(row.starts || result == 0);
  }
}

// Every compared field counts, the name and what lies behind field 32 do not.
TEST(Qos, TellsClassRulesApartByTheirFields) {
  using Fields = std::map<int, std::string>;
  auto same = [](const Fields &a, const Fields &b) {
    return isSameClassRule(classRecord(a).c_str(), classRecord(b).c_str());
  };
  for (int field = 0; field < 42; field++) {
    EXPECT_EQ(same({}, {{field, "other"}}), field >= 2 && field <= 32 ? 0 : 1) << field;
  }
  // Numbers are compared as numbers, texts as they are, each up to its length.
  EXPECT_EQ(same({{2, "007"}}, {{2, "7"}}), 1);
  EXPECT_EQ(same({{4, "007"}}, {{4, "7"}}), 0);
  std::string cut(31, 'x'), longer(127, 'y');
  EXPECT_EQ(same({{4, cut + "a"}, {22, longer + "a"}}, {{4, cut + "b"}, {22, longer + "b"}}), 1);
  EXPECT_EQ(same({{22, cut + "a"}}, {{22, cut + "b"}}), 0);
  EXPECT_EQ(isSameClassRule("1,a,5", "0,b,5"), 1);
  EXPECT_EQ(isSameClassRule("", ""), 1);
}

TEST(Qos, KnowsNamesAndReferencedQueues) {
  const std::string cut(31, 'x');
  for (auto same : {isSameQueueName, isSameClassName}) {
    EXPECT_EQ(same("1,voice,3", "2,voice,9"), 1);
    EXPECT_EQ(same("1,voice,3", "1,Voice,3"), 0);
    EXPECT_EQ(same(("1," + cut + "a").c_str(), ("1," + cut + "b").c_str()), 1);
    EXPECT_EQ(same("1,xa", "1,xb"), 0);
  }

  sim::Device device;
  device.buffered(
      {{"TuQoSClass", classRecord({{41, "3"}}) + ";1,short;" + classRecord({{41, "05"}})}});
  EXPECT_EQ(isQueueBeReference(3), 1);
  EXPECT_EQ(isQueueBeReference(5), 1);
  EXPECT_EQ(isQueueBeReference(4), 0);
  EXPECT_EQ(isQueueBeReference(0), 0);  // a record without the field names no queue
}

TEST(Qos, ListsTheNetworksForThePage) {
  sim::Device device;
  char text[528];
  device.buffered({{"SSID1", "home"}, {"SSID3", "guest"}});
  EXPECT_EQ(orbaQoSSSID(text), 0);
  EXPECT_STREQ(text, "home");
  device.buffered({{"BssidNum", "3"}});
  EXPECT_EQ(orbaQoSSSID(text), 0);
  EXPECT_STREQ(text, "home;;guest");
  device.buffered({{"BssidNum", "2000000000"}, {"SSID2", std::string(5000, 'x')}});
  EXPECT_EQ(orbaQoSSSID(text), 0);
  EXPECT_EQ(std::string(text), "home;" + std::string(522, 'x'));
  std::string names;
  device.buffered({{"BssidNum", "16"}});
  for (int i = 1; i <= 16; i++) {
    std::string name(32, static_cast<char>('a' + i));
    device.buffered({{"SSID" + std::to_string(i), name}});
    names += (i > 1 ? ";" : "") + name;
  }
  EXPECT_EQ(orbaQoSSSID(text), 0);
  EXPECT_EQ(text, names);
  EXPECT_EQ(orbaQoSLANIntf(text), 0);
  EXPECT_STREQ(text, "LAN");
}
