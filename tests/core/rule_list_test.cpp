// Rule lists: walking, counting, editing.
#include "core/rule_list.h"

#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> recordsOf(const std::string &list) {
  std::vector<std::string> records;
  for (orba::Record record : orba::RuleList(list.c_str())) {
    EXPECT_EQ(record.index(), static_cast<int>(records.size()));
    records.emplace_back(record.slice().begin, record.slice().length);
  }
  return records;
}

std::string set(int index, std::string list, std::string record) {
  return setNthValue(index, list.data(), record.data());
}

std::string without(std::vector<int> indexes, std::string list, char separator = ';') {
  int count = static_cast<int>(indexes.size());
  EXPECT_EQ(deleteNthValueMulti(indexes.data(), count, list.data(), separator), 0);
  return list.c_str();
}

}  // namespace

TEST(RuleList, WalksItsRecords) {
  EXPECT_THAT(recordsOf(""), IsEmpty());
  EXPECT_THAT(recordsOf("a;;b;"), ElementsAre("a", "", "b", ""));
  std::string whole(255, 'w');
  EXPECT_THAT(recordsOf(whole + ";" + whole + "x;z"), ElementsAre(whole, whole, "z"));
}

TEST(RuleList, FieldsAreCutAndToldFromMissingOnes) {
  for (orba::Record record : orba::RuleList("one,,three-is-long")) {
    orba::Field<8> first(record, 0), empty(record, 1), cut(record, 2), missing(record, 3);
    EXPECT_STREQ(first.text(), "one");
    EXPECT_TRUE(empty.empty() && !empty.missing());
    EXPECT_STREQ(cut.text(), "three-i");
    EXPECT_FALSE(cut.fits());
    EXPECT_TRUE(missing.missing());
    EXPECT_STREQ(missing.text(), "");
    EXPECT_TRUE(orba::Field<8>(record, -1).missing());
  }
  orba::Record last({"", 0}, 0);
  EXPECT_FALSE(orba::RuleList("a;b").find(2, last));
  ASSERT_TRUE(orba::RuleList("a;b").find(1, last));
  EXPECT_TRUE(last.slice().is("b"));
}

TEST(Numbers, AreTheSameWhateverTheSizeOfLong) {
  EXPECT_EQ(orba::toNumber("12abc"), 12);
  EXPECT_EQ(orba::toNumber("abc"), 0);
  EXPECT_EQ(orba::toNumber("4294967297"), 2147483647);
  EXPECT_EQ(orba::toNumber("-99999999999999999999"), -2147483647 - 1);
}

TEST(Counting, TellsEmptyFromOne) {
  EXPECT_EQ(getNums(nullptr, ';'), 0);
  EXPECT_EQ(getNums("", ';'), 1);
  EXPECT_EQ(getNums("a|b|", '|'), 3);
  EXPECT_EQ(getRuleNums("a;b;"), 3);
  char empty[] = "", two[] = "a;b";
  EXPECT_EQ(getValueCount2(empty), 0);
  EXPECT_EQ(getValueCount2(two), 2);

  sim::Device device;
  device.buffered({{"IPPortFilterRules", "a;b;"}, {"websHostFilters", ""}, {"aclRules", "x"}});
  char text[12];
  EXPECT_EQ(getIPPortRuleNums(text), 1);
  EXPECT_STREQ(text, "3");
  EXPECT_EQ(getHostKeywordNums(text), 1);
  EXPECT_STREQ(text, "0");
  EXPECT_EQ(getPortForwardRuleNums(text), 1);
  EXPECT_STREQ(text, "0");
  EXPECT_EQ(getAclRuleNums(), 1);
}

TEST(Editing, ReplacesAndExtends) {
  EXPECT_EQ(set(1, "a;b;c", "X"), "a;X;c");
  EXPECT_EQ(set(0, "", "X"), "X");
  EXPECT_EQ(set(3, "a", "X"), "a;;;X");
  EXPECT_EQ(set(0, "a;b;", "X"), "X;b;");
  EXPECT_EQ(set(7, "1;2;3;4;5;6;7;8", "X"), "1;2;3;4;5;6;7;X");
  // The result of one edit may be the list of the next.
  char list[] = "a;b", x[] = "X", y[] = "Y";
  EXPECT_STREQ(setNthValue(0, setNthValue(1, list, x), y), "Y;X");
  std::string whole(255, 'w');
  std::string full = whole;
  for (int i = 1; i < 8; i++) full += ";" + whole;
  EXPECT_EQ(set(3, full, whole + "cut"), full);
}

TEST(Editing, BeyondItsLimitsLeavesTheListAlone) {
  std::string nine = "1;2;3;4;5;6;7;8;9";
  EXPECT_EQ(set(0, nine, "X"), nine);
  EXPECT_EQ(set(8, "a", "X"), "a");
  EXPECT_EQ(set(-1, "a", "X"), "a");
  std::string long_list(5000, 'x');
  EXPECT_EQ(set(9, long_list, "X"), long_list.substr(0, 2047));
  EXPECT_EQ(set(0, long_list + ";b", "X"), "X;b");

  sim::Device device;
  device.buffered({{"AuthMode", nine}});
  char record[] = "X";
  EXPECT_EQ(STF(0, "AuthMode", record), -1);
  EXPECT_THAT(device.writes(), IsEmpty());
}

TEST(Editing, OfASettingIsBufferedNotCommitted) {
  sim::Device device;
  device.buffered({{"AuthMode", "OPEN;WPA"}}).buffered({{"AuthMode", "2"}}, 2);
  char record[] = "WPA2PSK";
  EXPECT_EQ(STF(1, "AuthMode", record), 0);
  EXPECT_EQ(STFs(2, 1, "AuthMode", record), 0);
  EXPECT_EQ(STFs(2, 1, "Missing", record), 0);
  EXPECT_EQ(STF(0, "Missing", record), 0);
  EXPECT_THAT(device.writes(),
              ElementsAre("bufset 1 AuthMode=OPEN;WPA2PSK", "bufset 2 AuthMode=2;WPA2PSK",
                          "bufset 2 Missing=;WPA2PSK", "bufset 1 Missing=WPA2PSK"));
}

TEST(Deleting, TakesARecordWithItsSeparator) {
  EXPECT_EQ(without({1}, "a;b;c"), "a;c");
  EXPECT_EQ(without({0}, "a;b;c"), "b;c");
  EXPECT_EQ(without({0, 1}, "a;b;c"), "c");
  EXPECT_EQ(without({0, 1, 2}, "a;b;c"), "");
  EXPECT_EQ(without({5}, "a;b"), "a;b");
  EXPECT_EQ(without({0}, ""), "");
  // Out of order and repeated numbers are passed over.
  EXPECT_EQ(without({2, 1, 3}, "a;b;c;d"), "a;b");
  EXPECT_EQ(without({1, 1}, "a;b;c"), "a;c");
  // The separator in front is looked for as ';' only.
  EXPECT_EQ(without({0}, "a,b", ','), ",b");
  EXPECT_EQ(without({1}, "a,b,c", ','), "a,c");
}
