#include <gmock/gmock.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kResult[] = "/var/wscResult";

// What is already there stays as it was written.
TEST(WpsResult, IsStoredOverWhateverStoodThere) {
  const struct {
    std::optional<std::string> old;
    int value;
    const char *stored;
  } cases[] = {{{}, 1, "1"},        {{}, 0, "0"},   {{}, -1, "-1"},      {"0", 1, "1"},
               {"1", -1, "-1"},     {"-1", 0, "0"}, {"", 1, "1"},        {"123", 1, "1"},
               {"\n", -1, "-1"},    {"", 0, ""},    {"junk", 0, "junk"}, {"1\n", 1, "1\n"},
               {"-123", -1, "-123"}};
  for (const auto &[old, value, stored] : cases) {
    WpsDevice device;
    if (old) device.file(kResult, *old);
    setWscResult(value);
    EXPECT_EQ(device.text(kResult), stored) << value;
  }
}

// Any other number counts as none.
TEST(WpsResult, ReadsTheFirstTwoCharactersThatAreNotBlank) {
  const std::pair<std::string, int> cases[] = {
      {"1", 1}, {"1\n", 1}, {"0", 0},   {"-1", -1}, {" - 1 ", -1}, {"\n 1", 1}, {"-10", -1},
      {"2", 0}, {"12", 0},  {"1 1", 0}, {"-2", 0},  {"", 0},       {"junk", 0}, {"- -1", 0}};
  for (const auto &[stored, result] : cases) {
    WpsDevice device;
    device.file(kResult, stored);
    EXPECT_EQ(getWscResult(), result) << stored;
    EXPECT_EQ(device.text(kResult), stored);
  }
  WpsDevice without;
  EXPECT_EQ(getWscResult(), 0);
  EXPECT_EQ(without.text(kResult), "0");
}

// The end of the process, seen from outside with what it said before.
void reportAndLeave(int status) {
  fputs(sim::Device::current()->errors().c_str(), stderr);
  _exit(status);
}

TEST(WpsResultDeathTest, TheProcessEndsWhenTheFileCannotBeMade) {
  WpsDevice device;
  device.refuse(kResult).onExit(reportAndLeave);
  EXPECT_EXIT(setWscResult(0), ::testing::ExitedWithCode(1), "^Can't open file wscResult \n$");
  EXPECT_EXIT(getWscResult(), ::testing::ExitedWithCode(1), "^Can't write file wscResult \n$");
}

// ---- the status files ----

TEST(WpsStatusFiles, AnswerTheirNumber) {
  WpsDevice device;
  EXPECT_EQ(getWscResultOrba(), -1);
  EXPECT_EQ(getWscResultGUIOrba(), -1);
  EXPECT_EQ(device.errors(), "Can't open file wpsStatus \nCan't open file wpsStatus5G \n");
  device.forget();
  device.file("/tmp/wpsStatus", "  34\n").file("/tmp/wpsStatus5G", "1 2");
  EXPECT_EQ(getWscResultOrba(), 34);
  EXPECT_EQ(getWscResultGUIOrba(), 1);
  device.file("/tmp/wpsStatus", "").file("/tmp/wpsStatus5G", std::string(500, '9'));
  EXPECT_EQ(getWscResultOrba(), 0);
  EXPECT_EQ(getWscResultGUIOrba(), INT_MAX);
  EXPECT_THAT(device.events(), IsEmpty());
}

TEST(WpsStatusFiles, EndASessionInTwoSteps) {
  const Lines no_session = {"echo \"999\" > /tmp/wpsStatus", "sys ledctl 1",
                            "echo \"999\" > /tmp/wpsStatus24"};
  const struct {
    const char *before;
    Lines commands;
    const char *after;
  } cases[] = {
      {"1\n", {"echo \"2\" > /tmp/wpsStatus", no_session[2]}, "2\n"},
      {"2\n", no_session, "999\n"},
      {"999\n", {no_session[2]}, "999\n"},
      // A missing file is as good as an ended session.
      {nullptr, no_session, "999\n"},
  };
  for (const auto &[before, commands, after] : cases) {
    WpsDevice device;
    device.file("/tmp/wpsStatus24", "3\n");
    if (before != nullptr) device.file("/tmp/wpsStatus", before);
    updateWpsStatusFlag();
    EXPECT_EQ(device.commands(), commands);
    // Through the runner, whose redirection alone would leave the files empty.
    EXPECT_EQ(device.shellLines()[0], commands[0] + " 1>/dev/null 2>&1");
    EXPECT_EQ(device.text("/tmp/wpsStatus"), after);
    EXPECT_EQ(device.text("/tmp/wpsStatus24"), "999\n");
  }
}

}  // namespace
