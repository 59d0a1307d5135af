#include "platform/nvram/store_format.h"

#include <gmock/gmock.h>

using namespace nvram;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;

TEST(StoreFormat, PrintsWhatAPersonCanReadAndEdit) {
  const Settings settings = {
      {"PortForwardRules", "192.168.1.2,80,80,1,web;"},
      {"SSID1", " caf\xc3\xa9 = \"open\" "},
      {"Banner", "one\ntwo\r\t\\n\x01\x1f\x7f"},
      {"ApCliSsid", ""},
      {" odd key ", "#1"},
  };
  EXPECT_EQ(
      printSettings(settings),
      "# Router settings, one KEY=VALUE a line; \\n, \\r, \\t, \\\\ and \\xHH stand for single "
      "bytes.\n"
      "\\x20odd key\\x20=#1\n"
      "ApCliSsid=\n"
      "Banner=one\\ntwo\\r\\t\\\\n\\x01\\x1f\\x7f\n"
      "PortForwardRules=192.168.1.2,80,80,1,web;\n"
      "SSID1= caf\xc3\xa9 = \"open\"\\x20\n");
}

TEST(StoreFormat, BringsAnyBytesBack) {
  Settings settings = {{"escapes", "\\n\\x41\\\\"}}, read;
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    settings[std::to_string(byte)] = {c, 'x', c};
    if (c != '=' && c != '\n') settings[{'k', c}] = settings[{' ', c, 'k', c}] = c;
  }
  std::vector<Damage> damages;
  for (const Setting &setting : parseSettings(printSettings(settings), &damages)) {
    read[setting.key] = setting.value;
  }
  EXPECT_EQ(read, settings);
  EXPECT_THAT(damages, IsEmpty());
}

TEST(StoreFormat, ReadsAHandWrittenConfigurationOfTwoSpaces) {
  std::vector<Damage> damages;
  const auto settings = parseSettings(
      "# both radios\r\n"
      "OperationMode=1\r\n"
      "\n"
      "   # indented\n"
      "  SSID1= two  words \n"
      "[2] \n"
      "SSIDSTA=a\\x3Db=c\n"
      "[1]\n"
      "wan_ipaddr=10.0.0.2",
      &damages);
  EXPECT_THAT(
      settings,
      ElementsAre(FieldsAre(1, "OperationMode", "1", 2), FieldsAre(1, "SSID1", " two  words ", 5),
                  FieldsAre(2, "SSIDSTA", "a=b=c", 7), FieldsAre(1, "wan_ipaddr", "10.0.0.2", 9)));
  EXPECT_THAT(damages, IsEmpty());
  EXPECT_THAT(parseSettings("a=1\n", &damages, 3), ElementsAre(FieldsAre(3, "a", "1", 1)));
}

TEST(StoreFormat, NamesEachBadLineAndKeepsTheGoodOnes) {
  std::vector<Damage> damages;
  const std::string text =
      "good=1\n"
      "no equals sign\n"
      "=no key\n"
      "blank =1\n"
      "escape=a\\qb\n"
      "cut=a\\\n"
      "hex=\\x4g\n"
      "nul=\\x00\n" +
      std::string("raw=a\0b\n", 8) +
      "\\x23hash=1\n"
      "same=1\n"
      "same=2\n"
      "[10]\n"
      "lost=1\n"
      "[0]\n"
      "[2\n"
      "[2]\n"
      "same=3\n";
  EXPECT_THAT(parseSettings(text, &damages),
              ElementsAre(FieldsAre(1, "good", "1", 1), FieldsAre(1, "same", "2", 12),
                          FieldsAre(2, "same", "3", 18)));
  const std::string no_escape = "holds a backslash that begins no known escape";
  const std::string no_space = "names no space; the lines up to the next section are left out";
  EXPECT_THAT(damages,
              ElementsAre(FieldsAre(2, "has no '='"), FieldsAre(3, "has no key before '='"),
                          FieldsAre(4, "has a blank before '='"), FieldsAre(5, no_escape),
                          FieldsAre(6, no_escape), FieldsAre(7, no_escape), FieldsAre(8, no_escape),
                          FieldsAre(9, "holds a NUL byte"),
                          FieldsAre(10, "has a key that no setting can have"),
                          FieldsAre(12, "sets the key of line 11 again"), FieldsAre(13, no_space),
                          FieldsAre(15, no_space), FieldsAre(16, no_space)));
}
